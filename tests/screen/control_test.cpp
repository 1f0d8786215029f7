// SPDX-License-Identifier: GPL-3.0-or-later
// What happens when the system hangs (shutdown, watchdog), the maintenance boot mode, and the sensors that
// blades share.
#include "result_test.h"

namespace zeltest {
namespace {

class HangTest : public ResultTest {
  protected:
    using ResultTest::ResultTest;

    std::string ranged(const std::string& identifier, const char* low, const char* high) {
        std::string message = text(identifier);
        for (const char* number : {low, high})
            message.replace(message.find("%d"), 2, number);
        return message;
    }
    /// The row of a one-line list, by its label.
    std::string chosen(const char* label) {
        const auto at = tool().find(text(label)).value();
        std::string row;
        for (int column = at.column + 22; column < at.column + 43; ++column)
            row += tool().cell({at.row, column}).text;
        row.erase(row.find_last_not_of(' ') + 1);
        return row;
    }
    std::string actions() { return chosen("SHUTDOWN_WHEN_ID") + ", " + chosen("SHUTDOWN_AFTER_ID"); }

    /// What the dialog is after a failed read.
    void expect_nothing_to_edit(const char* switch_label) {
        keys("Space Down Tab Down S-Tab");
        EXPECT_EQ(box(switch_label), " x");
        EXPECT_EQ(entry("SHUTDOWN_TIMEOUT_ID"), "0x");
        EXPECT_EQ(actions(), "None, None");
        EXPECT_EQ(ok(), "");
        EXPECT_FALSE(is_open());
    }
};

class ShutdownTest : public HangTest {
  protected:
    ShutdownTest() : HangTest(8, "TITTLE_SHUTDOWN_ID") {}
};

class WatchdogTest : public HangTest {
  protected:
    WatchdogTest() : HangTest(7, "TITTLE_WDT_ID") {}
};

TEST_F(ShutdownTest, ShowsTheSettings) {
    open("shutdown=1,600,33,4,5");
    EXPECT_EQ(opening(), "GetAllofShutDown({}) GetTimeoutAct(33)");
    EXPECT_EQ(tool().picture(), R"(ZELagntconf - Configuration of the ZEL Agent



                ┌─────────────────┤ Shutdown ├─────────────────┐
                │                                              │
                │ [*] Watch for hangs during shutdown          │
                │                                              │
                │ Time-out (s)          600____                │
                │                                              │
                │ Action on time-out    Raise an NMI         ▮ │
                │                                              │
                │ Action after time-out Power off            ▮ │
                │                                              │
                │              ┌────┐    ┌────────┐            │
                │              │ OK │    │ Cancel │            │
                │              └────┘    └────────┘            │
                │                                              │
                │                                              │
                └──────────────────────────────────────────────┘



  <Tab>/<Shift-Tab> move   <Space> mark   <Enter> choose   <Up>/<Down> list
)");
}

TEST_F(ShutdownTest, ActionsAreChosenFromTheirLists) {
    struct Case {
        const char* script;
        const char* keys;
        const char* shown;
        const char* code;
    };
    const Case cases[] = {{"", "", "None, None", "0"},
                          {"actions=1,3", "", "Raise an NMI, Power cycle", "49"},
                          {"actions=0,2", "Tab Tab Down Down Tab End", "Raise an NMI, Power cycle", "49"},
                          {"actions=1,3", "Tab Tab Up Tab Home Down", "None, Hard reset", "16"},
                          {"actions=-1,9", "", "None, Power cycle", "48"},
                          {"actions=2,-1", "", "Raise an NMI, None", "1"},
                          {"actions=0,3\nGetTimeoutAct=0", "", "Raise an NMI, None", "1"}};
    for (const auto& [script, typed, shown, code] : cases) {
        SCOPED_TRACE(script);
        open("shutdown=1,600,0,4,5\n" + std::string(script));
        keys(typed);
        EXPECT_EQ(actions(), shown);
        EXPECT_TRUE(ok().ends_with("SetAllofShutDown({1,600," + std::string(code) + ",4,5})")) << code;
        EXPECT_FALSE(is_open());
    }
    EXPECT_TRUE(traced("1|GetTimeoutAct() failed."));
}

TEST_F(ShutdownTest, TheTimeOutMustLieInItsRangeWhileTheWatchIsOn) {
    const std::string range = ranged("SDERR_RANGE_ID", "300", "6000");
    for (const std::string typed : {"300", "6000"}) {
        open("shutdown=1,600,17");
        keys("Tab Backspace Backspace Backspace " + typed);
        EXPECT_EQ(ok(), "SetTimeoutAct(1,1) SetAllofShutDown({1," + typed + ",17})");
    }
    for (const char* typed : {"299", "6001", "", "-1", "-600", "-", "0", "9999999"}) {
        SCOPED_TRACE(typed);
        open("shutdown=1,600,17");
        keys("Tab Backspace Backspace Backspace " + std::string(typed));
        EXPECT_EQ(ok(), range);
        // Switched off, everything but the switch is written as it was read.
        keys("S-Tab S-Tab S-Tab S-Tab Space");
        EXPECT_TRUE(entry("SHUTDOWN_TIMEOUT_ID").ends_with("x"));
        EXPECT_EQ(ok(), "SetAllofShutDown({0,600,17})");
        EXPECT_FALSE(is_open());
    }
    open("shutdown=0,5,17");
    EXPECT_EQ(entry("SHUTDOWN_TIMEOUT_ID"), "5x");
    keys("Space");
    EXPECT_EQ(entry("SHUTDOWN_TIMEOUT_ID"), "5");
    EXPECT_EQ(ok(), range);
    open("shutdown=0,4294967295,17");
    EXPECT_EQ(ok(), "SetAllofShutDown({0,4294967295,17})");
}

TEST_F(ShutdownTest, FailuresAreTold) {
    for (const std::string enabled : {"1", "0"}) {
        open("SetAllofShutDown=1,-1,0\nshutdown=" + enabled + ",600,17");
        const std::string written =
            (enabled == "1" ? "SetTimeoutAct(1,1) " : "") + ("SetAllofShutDown({" + enabled + ",600,17})");
        for (int i = 0; i < 2; ++i)
            EXPECT_EQ(ok(), "Can't set shutdown's settings ! " + written);
        EXPECT_TRUE(traced("1|SetAllofShutDown() failed!"));
        EXPECT_EQ(ok(), written);
        EXPECT_FALSE(is_open());
    }
    open("GetAllofShutDown=0\nshutdown=1,600,17");
    EXPECT_TRUE(traced("1|GetAllofShutDown() failed!"));
    expect_nothing_to_edit("SHUTDOWN_HANG_ID");
}

TEST_F(ShutdownTest, CancelAndHotKeyWriteNothing) {
    expect_to_leave_unwritten({"Ctrl-O", "Esc", "Cancel"}, "shutdown=0,600,17");
}

TEST_F(WatchdogTest, ShowsTheSettingsAlsoInJapanese) {
    open("wdt=1,30,90,33,7");
    EXPECT_EQ(opening(), "GetAllofWDT() GetTimeoutAct(33)");
    EXPECT_EQ(tool().picture(), R"(ZELagntconf - Configuration of the ZEL Agent


                ┌──────────────┤ Watchdog Timer ├──────────────┐
                │                                              │
                │ [*] Watch the operating system for hangs     │
                │                                              │
                │ Time-out (s)          90___                  │
                │                                              │
                │ Update interval (s)   30___                  │
                │                                              │
                │ Action on time-out    Raise an NMI         ▮ │
                │                                              │
                │ Action after time-out Power off            ▮ │
                │                                              │
                │              ┌────┐    ┌────────┐            │
                │              │ OK │    │ Cancel │            │
                │              └────┘    └────────┘            │
                │                                              │
                │                                              │
                └──────────────────────────────────────────────┘


  <Tab>/<Shift-Tab> move   <Space> mark   <Enter> choose   <Up>/<Down> list
)");
    options.environment["LANG"] = "ja_JP.UTF-8";
    open("wdt=0,60,600,33,7");
    EXPECT_EQ(tool().picture(), R"(ZELagntconf - ZEL エージェントの設定


                ┌─────────┤ ウォッチドッグタイマー ├──────────┐
                │                                             │
                │ [ ] OS のハングアップを監視する             │
                │                                             │
                │ タイムアウト時間(秒) 600__                  │
                │                                             │
                │ 更新間隔(秒)         60___                  │
                │                                             │
                │ タイムアウト時の動作 NMI を発生           ▮ │
                │                                             │
                │ タイムアウト後の動作 電源オフ             ▮ │
                │                                             │
                │           ┌────┐    ┌────────────┐          │
                │           │ OK │    │ キャンセル │          │
                │           └────┘    └────────────┘          │
                │                                             │
                │                                             │
                └─────────────────────────────────────────────┘


  <Tab>/<Shift-Tab> 項目移動   <Space> 選択   <Enter> 決定   <Up>/<Down> 一覧
)");
}

TEST_F(WatchdogTest, OnlyWhatChangedIsWrittenAndOnlyInRange) {
    const std::string timeout = ranged("WDTERR_TRANGE_ID", "90", "600");
    const std::string interval = ranged("WDTERR_IRANGE_ID", "30", "60");
    const std::string same = "SetTimeoutAct(1,1)";
    const std::string to_timeout = "Tab Backspace Backspace Backspace ";
    const std::string to_interval = "Tab Tab Backspace Backspace ";
    struct Case {
        const char* record;
        std::string keys;
        std::string result;
    };
    const Case cases[] = {
        {"1,45,100,17,7", "", same},
        {"1,45,100,17,7", to_timeout + "100", same},
        {"1,45,100,17,7", to_timeout + "90", same + " SetAllofWDT({1,45,90,17,7})"},
        {"1,45,100,17,7", to_timeout + "600", same + " SetAllofWDT({1,45,600,17,7})"},
        {"1,45,100,17,7", to_interval + "30", same + " SetAllofWDT({1,30,100,17,7})"},
        {"1,45,100,17,7", to_interval + "60", same + " SetAllofWDT({1,60,100,17,7})"},
        {"1,45,100,17,7", to_timeout + "89", timeout},
        {"1,45,100,17,7", to_timeout + "601", timeout},
        {"1,45,100,17,7", to_timeout, timeout},
        {"1,45,100,17,7", to_timeout + "-100", timeout},
        {"1,45,100,17,7", to_interval + "29", interval},
        {"1,45,100,17,7", to_interval + "61", interval},
        {"1,45,100,17,7", to_interval, interval},
        {"1,45,100,17,7", to_interval + "-45", interval},
        {"1,5,5,17,7", "", timeout},
        {"1,5,90,17,7", "", interval},
        {"1,45,4294967396,17", "", timeout},
        {"1,45,100,17,7", "Tab Tab Tab Up", "SetTimeoutAct(0,1) SetAllofWDT({1,45,100,16,7})"},
        {"1,45,100,17,7", "Tab Tab Tab Tab End", "SetTimeoutAct(1,3) SetAllofWDT({1,45,100,49,7})"},
        {"1,45,100,4294967313,7", "", same},
        {"1,45,100,17,7", "Space", same + " SetAllofWDT({0,45,100,17,7})"},
        {"0,45,100,17,7", "Space", same + " SetAllofWDT({1,45,100,17,7})"},
        {"0,5,5,17,7", "", same},
        {"0,5,5,17,7", "Tab Up", "SetTimeoutAct(0,1) SetAllofWDT({0,5,5,16,7})"},
        {"2,45,100,17,7", "", same + " SetAllofWDT({1,45,100,17,7})"},
    };
    for (const auto& [record, typed, result] : cases) {
        SCOPED_TRACE(record + std::string(" ") + typed);
        open("wdt=" + std::string(record));
        keys(typed);
        EXPECT_EQ(ok(), result);
        EXPECT_EQ(is_open(), result == timeout || result == interval);
    }
}

TEST_F(WatchdogTest, FailuresAreTold) {
    open("SetAllofWDT=1,-1,0\nwdt=1,45,100,17\nactions=0,3\nGetTimeoutAct=0");
    EXPECT_TRUE(traced("0|Can't get WDT's actions!"));
    EXPECT_EQ(actions(), "Raise an NMI, None");
    const std::string written = "SetTimeoutAct(1,0) SetAllofWDT({1,45,100,1})";
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(ok(), "Can't set WDT's settings ! " + written);
    EXPECT_TRUE(traced("1|SetAllofWDT failed."));
    EXPECT_EQ(ok(), written);
    EXPECT_FALSE(is_open());

    open("GetAllofWDT=0\nwdt=1,45,100,17");
    EXPECT_TRUE(traced("1|Can't get WDT's settings!"));
    EXPECT_EQ(entry("WDT_INTERVAL_ID"), "0x");
    expect_nothing_to_edit("WDT_HANG_ID");
}

class MaintenanceTest : public ResultTest {
  protected:
    MaintenanceTest() : ResultTest(7, "TITTLE_MOVAL_ID") {}
    void open(const std::string& script) {
        ResultTest::open(R"(reg SOFTWARE\QUD\ZELAgent CurrentVersion=sz:3.8)" + ("\n" + script));
    }
    std::string boxes() { return box("MOVAL_CHECK1_ID") + "," + box("MOVAL_CHECK2_ID"); }
};

TEST_F(MaintenanceTest, ShowsTheBootMode) {
    open("boot.mode=1");
    EXPECT_EQ(opening(), "GetInstallStatus() GetUtlBootMode()");
    EXPECT_EQ(tool().picture(), R"(ZELagntconf - Configuration of the ZEL Agent




            ┌──────────────┤ Maintenance Boot Mode ├──────────────┐
            │                                                     │
            │ MOVAL offline maintenance                           │
            │                                                     │
            │ [*] Use the maintenance boot mode at the next start │
            │ [ ] Reboot into the maintenance boot mode now       │
            │                                                     │
            │                ┌────┐    ┌────────┐                 │
            │                │ OK │    │ Cancel │                 │
            │                └────┘    └────────┘                 │
            │                                                     │
            │                                                     │
            └─────────────────────────────────────────────────────┘





  <Tab>/<Shift-Tab> move   <Space> mark   <Enter> choose   <Up>/<Down> list
)");
    for (const auto& [script, shown] : {std::pair{"boot.mode=1", "*, "},
                                        {"boot.mode=2", " , "},
                                        {"boot.mode=0", " , "},
                                        {"boot.mode=1\nGetInstallStatus=0", "*x, x"},
                                        {"GetInstallStatus=-2", " , "}}) {
        open(script);
        EXPECT_EQ(boxes(), shown);
    }
    EXPECT_TRUE(traced("3|GetInstallStatus() return -2."));
}

TEST_F(MaintenanceTest, FailedReadsShowAMessageAndNoPanel) {
    open("GetInstallStatus=-1");
    EXPECT_EQ(message(), "Error: Calling GetInstallStatus failed.");
    EXPECT_TRUE(traced("1|<Calling GetInstallStatus failed."));
    EXPECT_EQ(opening(), "GetInstallStatus()");
    EXPECT_FALSE(is_open());
    open("GetUtlBootMode=0");
    EXPECT_EQ(message(), text("MOVALERR_GET_ID"));
    EXPECT_TRUE(traced("1|<" + text("MOVALERR_GET_ID")));
    EXPECT_FALSE(is_open());
}

TEST_F(MaintenanceTest, OkSetsTheModeAndRebootsOnlyWhenConfirmed) {
    constexpr const char* kOff = "MOVALSetMode(0,0)";
    constexpr const char* kOn = "MOVALSetMode(1,1)";
    constexpr const char* kReboot = "MOVALSetMode(17,1)";
    const std::string refused = text("MOVALERR_SET_ID") + " ";
    struct Case {
        const char* script;
        const char* keys;    // before OK, from box 1
        const char* answer;  // to the question, if it comes
        std::string expected;
        bool closes;
        const char* trace = nullptr;
    };
    const Case cases[] = {
        {"", "", "", kOff, true},
        {"boot.mode=1", "", "", kOn, true},
        {"boot.mode=1", "Space", "", kOff, true},
        {"", "Space", "", kOn, true},
        {"", "Tab Space", "Enter", std::string(kReboot) + " system(reboot)", false},
        {"", "Space Tab Space", "Enter", std::string(kReboot) + " system(reboot)", false},
        {"system=-1", "Tab Space", "Enter", std::string(kReboot) + " system(reboot)", false},
        {"", "Tab Space", "Tab Enter", kOn, true},
        {"", "Tab Space", "Ctrl-O", kOn, true},
        {"", "Tab Space", "Esc", kOn, true},
        {"", "Tab Space", "F12", kOn, true},
        {"MOVALSetMode=1", "", "", refused + kOff, false, "1|MOVALSetMode failed."},
        {"MOVALSetMode=-1", "Space", "", refused + kOn, false, "1|MOVALSetMode() failed."},
        {"MOVALSetMode=1", "Tab Space", "Enter", refused + kReboot, false, "1|MOVALSetMode() failed."},
        {"MOVALSetMode=1", "Tab Space", "Tab Enter", refused + kOn, false, "1|MOVALSetMode() failed."},
        {"GetInstallStatus=0\nboot.mode=1", "", "", "", true},
    };
    for (const auto& [script, typed, answer, expected, closes, trace] : cases) {
        SCOPED_TRACE(script + std::string(", ") + typed + ", " + answer);
        open(script);
        keys(typed);
        press("OK");
        const std::string title = "┤ " + text("MOVALWARN_REBOOT_ID") + " ├";
        const bool asked = *answer != '\0';
        EXPECT_EQ(shows(title) && shows(text("MOVAL_REBOOTNOW_ID")), asked) << tool().picture();
        keys(answer);
        EXPECT_EQ(result(), expected);
        EXPECT_EQ(is_open(), !closes) << tool().picture();
        EXPECT_FALSE(shows(title));
        EXPECT_TRUE(trace == nullptr || traced(trace));
        EXPECT_EQ(traced("3|system reboot..."), expected.ends_with("system(reboot)"));
    }
}

TEST_F(MaintenanceTest, OnlyTheButtonsLeave) {
    open("");
    keys("Ctrl-O Esc F12 Ctrl-A Space");
    EXPECT_TRUE(is_open());
    press("Cancel");
    EXPECT_FALSE(is_open());
    EXPECT_EQ(joined_calls(), "");
}

class BladeTest : public ResultTest {
  protected:
    BladeTest() : ResultTest(9, "TITTLE_BLADE_ID") {}
    /// The start-up's status is 0, so that the menu has the row; then come these.
    void open(const std::string& statuses, const std::string& script = "") {
        ResultTest::open("smbios.chassis=FE\nGetSharedSensorStatus=0," + statuses + "\n" + script);
    }
};

const std::string kBladeOpening =
    "GetZelRootPath(256) LoadLibrary($ZelDir/lib/dissensor.dll) GetProcAddress(DisableSharedSensor) "
    "GetProcAddress(EnableSharedSensor) GetProcAddress(GetSharedSensorStatus) GetSharedSensorStatus()";

TEST_F(BladeTest, ShowsTheState) {
    open("1");
    EXPECT_EQ(opening(), kBladeOpening);
    EXPECT_EQ(tool().picture(), R"(ZELagntconf - Configuration of the ZEL Agent




                ┌───────────┤ ZEL Agent Settings ├────────────┐
                │        ┌─┤ Shared Sensors (Blade) ├─┐       │
                │ LAN    │                            │     ↑ │
                │ RAID Co│                            │     ▒ │
                │ Watchdo│  [*] Enable sensor sharing │     ▒ │
                │ Shutdow│                            │     ▮ │
                │ Shared │                            │     ↓ │
                │        │     ┌────┐    ┌────────┐   │       │
                │        │     │ OK │    │ Cancel │   │       │
                │        │     └────┘    └────────┘   │       │
                │        │                            │       │
                │        │                            │       │
                │        └────────────────────────────┘       │
                └─────────                              ──────┘




  <Tab>/<Shift-Tab> move   <Space> mark   <Enter> choose   <Up>/<Down> list
)");
    for (const auto& [status, mark] :
         {std::pair{"1", "*"}, {"0", " "}, {"-1", "*"}, {"2", " "}, {"-3", " "}}) {
        open(status);
        EXPECT_EQ(box("BLADE_FORBID_ID"), mark) << status;
        EXPECT_TRUE(traced("3|GetSharedSensorStatus() return " + std::string(status)));
    }
}

TEST_F(BladeTest, OkAsksForTheMarkedStateAndTellsWhatCameOfIt) {
    const std::string changed = "Message: Operation succeeded! ";
    const std::string restored = "Error: Disable/Enable failed and backup succeeded! ";
    const std::string broken = "Error: Disable/Enable failed and backup failed! ";
    struct Case {
        const char* old_and_new;
        bool toggled;
        bool enables;
        std::string message;
    };
    const Case cases[] = {
        {"0,0", false, false, ""},       {"0,0", true, true, restored},  {"0,1", true, true, changed},
        {"0,1", false, false, changed},  {"0,-1", true, true, broken},   {"0,-2", true, true, ""},
        {"1,1", false, true, ""},        {"1,1", true, false, restored}, {"1,0", true, false, changed},
        {"1,0", false, true, changed},   {"1,-1", false, true, broken},  {"-1,0", true, false, changed},
        {"-1,1", true, false, restored}, {"1,2", true, false, ""},       {"2,1", false, false, ""},
        {"-1,-1", true, false, broken}};
    for (const auto& [statuses, toggled, enables, told] : cases) {
        SCOPED_TRACE(statuses);
        open(statuses);
        if (toggled) keys("Space");
        EXPECT_EQ(ok(), told + (enables ? "EnableSharedSensor(-1)" : "DisableSharedSensor(-1)") +
                            " GetSharedSensorStatus() FreeLibrary()");
        EXPECT_FALSE(is_open());
    }
    EXPECT_TRUE(traced("3|oldflags = 1 ;flags = -1"));
}

TEST_F(BladeTest, FailuresOfTheLibraryAreTold) {
    struct Case {
        const char* script;
        const char* trace;
        bool released;
    };
    for (const auto& [script, trace, released] :
         {Case{"LoadLibrary=1,0", "1|<LoadLibraryi $ZelDir/lib/dissensor.dll failed.return FALSE.", false},
          Case{"GetProcAddress=1,0", "1|<GetProcAddress(DisableSharedSensor) failed.return FALSE.", true},
          Case{"GetProcAddress=1,1,0", "1|<GetProcAddress(EnableSharedSensor) failed.return FALSE.", true},
          Case{"GetProcAddress=1,1,1,0", "1|<GetProcAddress(GetSharedSensorStatus) failed.return FALSE.",
               true}}) {
        open("1", script);
        EXPECT_EQ(message(), "Error: Load library failed!");
        EXPECT_TRUE(traced(trace)) << trace;
        EXPECT_TRUE(traced("1|<InitBladeInfo() failed."));
        EXPECT_EQ(opening().ends_with("FreeLibrary()"), released);
        EXPECT_FALSE(is_open());
    }
    open("-2");
    EXPECT_EQ(message(), "Error: Disable/Enable failed and system call error!");
    EXPECT_TRUE(traced("1|<GetSharedSensorStatus failed."));
    EXPECT_EQ(opening(), kBladeOpening);
    EXPECT_FALSE(is_open());
}

TEST_F(BladeTest, CancelAndHotKeysChangeNothing) {
    expect_to_leave_unwritten({"Ctrl-O", "Esc", "Cancel"}, "smbios.chassis=FE\nGetSharedSensorStatus=0,1");
}

}  // namespace
}  // namespace zeltest
