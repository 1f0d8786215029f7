// SPDX-License-Identifier: GPL-3.0-or-later
// What happens when the system hangs (shutdown, watchdog), the maintenance boot mode, and the sensors that
// blades share.
#include "panel_test.h"

namespace zeltest {
namespace {

std::string set_actions(const std::string& when_and_after, const std::string& rest = "") {
    return "SetTimeoutAct(" + when_and_after + ")" + (rest.empty() ? "" : " SetAllof" + rest);
}
const std::string kSame = set_actions("1,1");
const std::string kClearTimeout = "Tab Backspace*3 ";

class ShutdownTest : public PanelTest {
  protected:
    ShutdownTest() : PanelTest(8, "TITTLE_SHUTDOWN_ID") {}
};

TEST_F(ShutdownTest, OkChecksTheTimeOutAndWritesWhatIsSet) {
    const std::string on = "shutdown=1,600,17";
    const std::string other = "shutdown=1,600,0,4,5\nactions=";
    const auto written = [](const std::string& record) { return set_actions("1,1", "ShutDown(" + record); };
    const std::string range = "SDERR_RANGE_ID 300 6000";
    const std::string failed = "Can't set shutdown's settings !";
    const std::string off = "SetAllofShutDown({0,600,17})";
    expect("", {Try{"shutdown=1,600,33,4,5", "", set_actions("1,2", "ShutDown({1,600,33,4,5})")},
                Try{other + "0,2", "Tab*2 Down*2 Tab End", set_actions("1,3", "ShutDown({1,600,49,4,5})")},
                Try{other + "-1,9", "", set_actions("0,3", "ShutDown({1,600,48,4,5})")},
                Try{other + "0,3\nGetTimeoutAct=0", "", set_actions("1,0", "ShutDown({1,600,1,4,5})"), "",
                    true, "1|GetTimeoutAct() failed."},
                Try{on, kClearTimeout + "300", written("{1,300,17})")},
                Try{on, kClearTimeout + "6000", written("{1,6000,17})")},
                Try{on, kClearTimeout + "299", "", range, false},
                Try{on, kClearTimeout + "6001", "", range, false}, Try{on, kClearTimeout, "", range, false},
                Try{"shutdown=0,5,17", "Space", "", range, false},
                // Switched off, everything but the switch is written as it was read.
                Try{on, kClearTimeout + "299 S-Tab Space", off},
                Try{"shutdown=0,4294967295,17", "", "SetAllofShutDown({0,4294967295,17})"},
                Try{"SetAllofShutDown=1\n" + on, "", written("{1,600,17})"), failed, false,
                    "1|SetAllofShutDown() failed!"},
                Try{"GetAllofShutDown=0\n" + on, "Space Down Tab Down", "", "", true,
                    "1|GetAllofShutDown() failed!"}});
    EXPECT_EQ(opening(), "GetAllofShutDown()");
}

class WatchdogTest : public PanelTest {
  protected:
    WatchdogTest() : PanelTest(7, "TITTLE_WDT_ID") {}
};

TEST_F(WatchdogTest, IsShownInJapanese) {
    options.environment["LANG"] = "ja_JP.UTF-8";
    open("wdt=0,60,600,33,7");
    EXPECT_EQ(picture(), R"(
                ┌─────────┤ ウォッチドッグタイマー ├──────────┐
                │ [ ] OS のハングアップを監視する             │
                │ タイムアウト時間(秒) 600__                  │
                │ 更新間隔(秒)         60___                  │
                │ タイムアウト時の動作 NMI を発生           ▮ │
                │ タイムアウト後の動作 電源オフ             ▮ │
                │           ┌────┐    ┌────────────┐          │
                │           │ OK │    │ キャンセル │          │
                │           └────┘    └────────────┘          │
                └─────────────────────────────────────────────┘)");
}

TEST_F(WatchdogTest, OnlyWhatChangedIsWrittenAndOnlyInRange) {
    const std::string usual = "1,45,100,17,7";
    const std::string clear_interval = "Tab*2 Backspace*2 ";
    const std::string timeout = "WDTERR_TRANGE_ID 90 600";
    const std::string interval = "WDTERR_IRANGE_ID 30 60";
    const std::string unreadable = "1,45,100,17\nactions=0,3\nGetTimeoutAct=0";
    const std::string cleared = set_actions("1,0", "WDT({1,45,100,1})");
    const auto changed = [](const std::string& record) {
        return set_actions("1,1", "WDT({" + record + "})");
    };
    expect(
        "wdt=",
        {Try{usual, "", kSame}, Try{usual, kClearTimeout + "100", kSame},
         Try{usual, kClearTimeout + "90", changed("1,45,90,17,7")},
         Try{usual, clear_interval + "30", changed("1,30,100,17,7")},
         Try{usual, kClearTimeout + "89", "", timeout, false},
         Try{usual, kClearTimeout + "601", "", timeout, false}, Try{usual, kClearTimeout, "", timeout, false},
         Try{usual, clear_interval + "29", "", interval, false},
         Try{usual, clear_interval + "61", "", interval, false}, Try{"1,5,5,17,7", "", "", timeout, false},
         Try{"1,45,4294967396,17", "", "", timeout, false},
         Try{usual, "Tab*3 Up", set_actions("0,1", "WDT({1,45,100,16,7})")},
         Try{usual, "Tab*4 End", set_actions("1,3", "WDT({1,45,100,49,7})")},
         Try{usual, "Space", changed("0,45,100,17,7")},
         Try{"0,5,5,17,7", "Tab Up", set_actions("0,1", "WDT({0,5,5,16,7})")},
         Try{"2,45,100,17,7", "", changed("1,45,100,17,7")},
         Try{unreadable, "", cleared, "", true, "0|Can't get WDT's actions!"},
         Try{unreadable + "\nSetAllofWDT=1", "", cleared, "Can't set WDT's settings !", false,
             "1|SetAllofWDT failed."}});
    open("GetAllofWDT=0\nwdt=1,45,100,17");
    EXPECT_TRUE(traced("1|Can't get WDT's settings!"));
    keys("Space");
    EXPECT_EQ(box("WDT_HANG_ID") + entry("SHUTDOWN_TIMEOUT_ID") + entry("WDT_INTERVAL_ID"), " x0x0x");
    EXPECT_EQ(ok(), "");
    EXPECT_FALSE(is_open());
}

class MaintenanceTest : public PanelTest {
  protected:
    MaintenanceTest() : PanelTest(7, "TITTLE_MOVAL_ID") {}
};
const std::string kAgent38 = "reg SOFTWARE\\QUD\\ZELAgent CurrentVersion=sz:3.8\n";

TEST_F(MaintenanceTest, BoxesFollowTheBootModeAndFailedReadsShowNoPanel) {
    for (const auto& [script, shown] : {Two{"boot.mode=1", "*, "}, Two{"GetInstallStatus=-2", " , "},
                                        Two{"boot.mode=1\nGetInstallStatus=0", "*x, x"}}) {
        open(kAgent38 + script);
        EXPECT_EQ(box("MOVAL_CHECK1_ID") + "," + box("MOVAL_CHECK2_ID"), shown);
    }
    expect_no_panel({{kAgent38 + "GetInstallStatus=-1", "Error: Calling GetInstallStatus failed.",
                      "1|<Calling GetInstallStatus failed."},
                     {kAgent38 + "GetUtlBootMode=0", "MOVALERR_GET_ID", "1|<" + text("MOVALERR_GET_ID")}});
    const std::string longer(120, 'm');
    catalogue("E_ctlpanel.rc", "[FUNC_CALL_ERR]=\"" + longer + "\"\n[MOVALERR_GET_ID]=\"" + longer + "\"\n");
    for (const char* failure : {"GetInstallStatus=-1", "GetUtlBootMode=0"}) {
        open(kAgent38 + failure);
        keys("Enter");
        EXPECT_TRUE(traced("1|<" + longer.substr(0, 99)));
    }
}

TEST_F(MaintenanceTest, OkSetsTheModeAndRebootsOnlyWhenConfirmed) {
    const std::string off = "MOVALSetMode(0,0)";
    const std::string on = "MOVALSetMode(1,1)";
    const std::string reboot = "MOVALSetMode(17,1)";
    const std::string asked = "Tab Space Tab Enter ";  // the question is open
    const std::string refused = "MOVALERR_SET_ID";
    expect(kAgent38,
           {Try{"", "", off}, Try{"boot.mode=1", "Space", off},
            Try{"", asked + "Enter", reboot + " system(reboot)", "", false, "3|system reboot...", ""},
            Try{"", asked + "Tab Enter", on, "", true, "", ""}, Try{"", asked + "Esc", on, "", true, "", ""},
            Try{"", asked + "F12", on, "", true, "", ""},
            Try{"MOVALSetMode=1", "", off, refused, false, "1|MOVALSetMode failed."},
            Try{"MOVALSetMode=-1", "Space", on, refused, false, "1|MOVALSetMode() failed."},
            Try{"MOVALSetMode=1", asked + "Enter", reboot, refused, false, "1|MOVALSetMode() failed.", ""},
            Try{"GetInstallStatus=0\nboot.mode=1", "", ""}});
    open(kAgent38);
    keys(asked);
    EXPECT_TRUE(shows("┤ " + text("MOVALWARN_REBOOT_ID") + " ├") && shows(text("MOVAL_REBOOTNOW_ID")));
}

class BladeTest : public PanelTest {
  protected:
    BladeTest() : PanelTest(9, "TITTLE_BLADE_ID") {}
};
// The start-up's status is 0, so that the menu has the row; then come those of the panel.
const std::string kBlade = "smbios.chassis=FE\nGetSharedSensorStatus=0,";

TEST_F(BladeTest, OkAsksForTheMarkedStateAndTellsWhatCameOfIt) {
    const std::string after = "SharedSensor(-1) GetSharedSensorStatus() FreeLibrary()";
    const std::string enable = "Enable" + after;
    const std::string disable = "Disable" + after;
    const std::string changed = "Message: Operation succeeded!";
    const std::string restored = "Error: Disable/Enable failed and backup succeeded!";
    const std::string broken = "Error: Disable/Enable failed and backup failed!";
    expect(kBlade,
           {Try{"0,0", "", disable}, Try{"0,0", "Space", enable, restored}, Try{"0,1", "", disable, changed},
            Try{"0,-1", "Space", enable, broken}, Try{"0,-2", "Space", enable}, Try{"1,1", "", enable},
            Try{"1,0", "Space", disable, changed}, Try{"-1,-1", "Space", disable, broken}});
}

TEST_F(BladeTest, FailuresOfTheLibraryAreTold) {
    const std::string failed = "Error: Load library failed!";
    expect_no_panel({{kBlade + "1\nLoadLibrary=1,0", failed,
                      "1|<LoadLibraryi $ZelDir/lib/dissensor.dll failed.return FALSE."},
                     {kBlade + "1\nGetZelRootPath=1,0", failed, "1|<GetZelRootPath() failed.return FALSE."},
                     {kBlade + "1\nGetProcAddress=1,1,1,0", failed,
                      "1|<GetProcAddress(GetSharedSensorStatus) failed.return FALSE."}});
    EXPECT_TRUE(opening().ends_with("FreeLibrary()"));
    expect_no_panel({{kBlade + "-2", "Error: Disable/Enable failed and system call error!",
                      "1|<GetSharedSensorStatus failed."}});
    EXPECT_EQ(
        opening(),
        "GetZelRootPath(256) LoadLibrary($ZelDir/lib/dissensor.dll) GetProcAddress(DisableSharedSensor) "
        "GetProcAddress(EnableSharedSensor) GetProcAddress(GetSharedSensorStatus) "
        "GetSharedSensorStatus()");
}

}  // namespace
}  // namespace zeltest
