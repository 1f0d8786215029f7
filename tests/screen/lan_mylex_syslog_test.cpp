// SPDX-License-Identifier: GPL-3.0-or-later
// The LAN, RAID and event-log panels: what they show, what OK asks of the agent and when they close.
#include "panel_test.h"

namespace zeltest {
namespace {

class LanTest : public PanelTest {
  protected:
    LanTest() : PanelTest(5, "TITTLE_LAN_ID") {}
};
const std::string kLan = "lan.settings=60,10,20,30\n";

TEST_F(LanTest, ShowsTheSettings) {
    open(kLan);
    EXPECT_EQ(joined_calls(), "GetLanDataFromRegistry()");
    EXPECT_EQ(picture(), R"(
                      ┌─────────────┤ LAN ├─────────────┐
                ┌─────│                                 │ ────┐
                │     │ Sampling interval (s)     60___ │     │
                │ CPU │                                 │   ↑ │
                │ Even│ Hardware error threshold  10___ │   ▒ │
                │ Stor│                                 │   ▮ │
                │ File│ Retry threshold           20___ │   ▒ │
                │ LAN │                                 │   ↓ │
                │     │ Abort threshold           30___ │     │
                │     │                                 │     │
                │     │     ┌────┐    ┌────────┐        │     │
                │     │     │ OK │    │ Cancel │        │     │
                │     │     └────┘    └────────┘        │     │
                │     │                                 │     │
                └─────│                                 │ ────┘
                      └─────────────────────────────────┘)");
}

TEST_F(LanTest, OkTestsEverythingThenWrites) {
    const std::string test = "TestInputLanParameter({60,10,20,30})";
    const std::string both = test + " PutLanThreshold({60,10,20,30})";
    expect(
        kLan,
        {{"", "", both},
         {"", "Backspace Backspace -7 Tab Backspace 9",
          "TestInputLanParameter({-7,19,20,30}) PutLanThreshold({-7,19,20,30})"},
         {"", "Delete Delete Backspace Backspace Tab Tab Tab Backspace Backspace", "", "INPUT_NULL_ID",
          false},
         {"", "Tab Tab Tab Backspace Backspace", "", "INPUT_NULL_ID", false},
         {"TestInputLanParameter=0x1001", "", test, "LANERR_INTERVAL_ID 1 3600;LANERR_ABORT_ID 10 50", false},
         {"TestInputLanParameter=0x1111", "", test,
          "LANERR_INTERVAL_ID 1 3600;LANERR_HW_ID 0 100;LANERR_RETRY_ID 10 50;LANERR_ABORT_ID 10 50", false},
         {"TestInputLanParameter=0x2", "", test, "", false},
         {"PutLanThreshold=0", "", both, "", false},
         {"PutLanThreshold=-1", "", both}});
    open(kLan + "TestInputLanParameter=0x100,0");  // a refused OK spoils nothing
    calls();
    press("OK");
    messages();
    keys("S-Tab Backspace 1");
    press("OK");
    EXPECT_EQ(joined_calls(), test + " TestInputLanParameter({60,10,20,31}) PutLanThreshold({60,10,20,31})");
}

TEST_F(LanTest, AFailedReadIsToldAndThePanelOpensWithZeros) {
    open("GetLanDataFromRegistry=1");
    EXPECT_EQ(messages(), "Error: Open Registry Failed!\n");
    EXPECT_TRUE(traced("1|GetLanDataFromRegistry() failed."));
    press("OK");
    EXPECT_EQ(calls().back(), "PutLanThreshold({0,0,0,0})");
    EXPECT_FALSE(is_open());
}

TEST_F(LanTest, CancelAndHotKeysWriteNothing) {
    expect_leaving_writes_nothing(kLan, "Backspace Ctrl-A", {"Ctrl-O", "\x80", "Esc", "Cancel"});
}

class MylexTest : public PanelTest {
  protected:
    MylexTest() : PanelTest(6, "TITTLE_MYLEX_ID") {}
};

TEST_F(MylexTest, ShowsTheInterval) {
    options.environment["LANG"] = "ja_JP.UTF-8";
    open("mylex.interval=3600");
    EXPECT_EQ(joined_calls(), "Mylex_ReadThresholdFromFile()");
    EXPECT_TRUE(shows("┤ " + text("TITTLE_MYLEX_ID", "J_ctlpanel.rc") + " ├"));
    options.environment["LANG"] = "C.UTF-8";
    open("mylex.interval=3600");
    EXPECT_EQ(picture(), R"(
                ┌───────────┤ ZEL Agent Settings ├────────────┐
                │                                             │
                │ Event ┌─┤ RAID Controller (Mylex) ├──┐    ↑ │
                │ Storag│                              │    ▒ │
                │ File S│ Sampling interval (s)  3600_ │    ▮ │
                │ LAN   │                              │    ▒ │
                │ RAID C│    ┌────┐    ┌────────┐      │    ↓ │
                │       │    │ OK │    │ Cancel │      │      │
                │       │    └────┘    └────────┘      │      │
                │       │                              │      │
                │       │                              │      │
                │       └──────────────────────────────┘      │
                │                                             │
                └─────────────────────────────────────────────┘)");
}

TEST_F(MylexTest, OkHandsOverAChangedInterval) {
    const std::string changed = "ResetMylexService(6)";
    expect("", {{"", "", ""},
                {"mylex.interval=-5", "", ""},
                {"", "Backspace", changed},
                {"ResetMylexService=-4", "Backspace", changed},
                {"ResetMylexService=1", "Backspace", changed},
                {"ResetMylexService=-1", "Backspace", changed, "STORERR_DAEMON_ID", false},
                {"ResetMylexService=-2", "Backspace", changed, "STORERR_WRITE_ID", false},
                {"ResetMylexService=-3", "Backspace Backspace", "ResetMylexService(0)",
                 "MYLEXERR_INTERVAL_ID 10 3600", false}});
    // Refused, then put back to what was read: nothing to hand over.
    open("ResetMylexService=-3");
    keys("Backspace");
    press("OK");
    messages();
    calls();
    keys("S-Tab 0");
    press("OK");
    EXPECT_EQ(joined_calls(), "");
    EXPECT_FALSE(is_open());
}

TEST_F(MylexTest, AFailedReadIsToldAndThereIsNoPanel) {
    struct Case {
        const char* script;
        const char* message;
        const char* trace;
        const char* short_memory = "0:0";
    };
    options.preload.emplace_back(SHORT_MEMORY_LIBRARY);
    for (const auto& [script, message, line, memory] :
         {Case{"Mylex_ReadThresholdFromFile=7", "FUNC_CALL_ERR Mylex_ReadThresholdFromFile",
               "1|<Mylex_ReadThresholdFromFile failed."},
          Case{"Mylex_ReadThresholdFromFile=6", "Can't open zelmlx.inf!", "1|<open zelmlx.inf failed."},
          Case{"", "FUNC_CALL_ERR malloc", "2|<malloc failed.", "924:1"}}) {
        SCOPED_TRACE(line);
        options.environment["SHORT_MEMORY"] = memory;
        open(script);
        EXPECT_EQ(messages(), "Error: " + told(message));
        EXPECT_TRUE(traced(line));
        EXPECT_FALSE(is_open());
    }
}

TEST_F(MylexTest, CancelAndHotKeysWriteNothing) {
    expect_leaving_writes_nothing("", "Backspace Ctrl-A", {"Ctrl-O", "Esc", "Cancel"});
}

class SyslogTest : public PanelTest {
  protected:
    SyslogTest() : PanelTest(2, "TITTLE_SYSLOG_ID") {}
};
const std::string kKey = R"(SOFTWARE\QUD\ZELALERTMAN\REPORTTABLE\EVENTLOG)";
const std::string kCycle = "reg " + kKey + " CYCLE=dword:";

TEST_F(SyslogTest, ShowsTheIntervalOrTheDefault) {
    open(kCycle + "3600");
    EXPECT_EQ(picture(), R"(
                ┌───────────┤ ZEL Agent Settings ├────────────┐
                │         ┌──────┤ Event Log ├───────┐        │
                │ General │                          │      ↑ │
                │ CPU Load│                          │      ▮ │
                │ Event Lo│ Scan interval (s) 3600_  │      ▒ │
                │ Storage │                          │      ▒ │
                │ File Sys│    ┌────┐    ┌────────┐  │      ↓ │
                │         │    │ OK │    │ Cancel │  │        │
                │         │    └────┘    └────────┘  │        │
                │         │                          │        │
                │         │                          │        │
                │         └──────────────────────────┘        │
                │                                             │
                └─────────────────────────────────────────────┘)");
    struct Case {
        std::string script;
        const char* shown;
        std::string trace = "";
    };
    for (const auto& [script, shown, line] :
         {Case{kCycle + "10", "10 ", "0|<return TRUE.*rgData=10."}, Case{kCycle + "9", "300 "},
          Case{kCycle + "0", "300 "}, Case{kCycle + "3601", "300 "}, Case{kCycle + "0xffffffff", "300 "},
          Case{"", "300 ", "1|<RegOpenKeyEx " + kKey + " failed.return FALSE."},
          Case{"reg " + kKey + "=", "300 ", "1|<RegQueryValueEx() CYCLE failed.return FALSE."},
          Case{"reg " + kKey + " CYCLE=sz:longer than a number", "300 "}}) {
        SCOPED_TRACE(script);
        open(script);
        EXPECT_EQ(number_behind(text("SYSLOG_MONITOR_ID")), shown);
        EXPECT_TRUE(line.empty() || traced(line));
        std::string expected = "RegOpenKeyEx(HKLM," + kKey + ",0x0)";
        if (!script.empty()) expected += " RegQueryValueEx(CYCLE,4) RegCloseKey(" + kKey + ")";
        EXPECT_EQ(joined_calls(), expected);
    }
}

TEST_F(SyslogTest, OkWritesAChangeAndSignalsIt) {
    const auto stored = [](const std::string& value) {
        return "RegCreateKeyEx(HKLM," + kKey + ",0xf003f) RegSetValueEx(" + kKey + ",CYCLE,dword:" + value +
               ") RegCloseKey(" + kKey + ")";
    };
    const std::string open_event = " OpenEvent(0,0,Eventlog_Cycle_Event)";
    const std::string signalled = open_event + " SetEvent(1) CloseHandle(1)";
    const std::string range = "SYSLOG_SETTING_ERR_ID 10 3600";
    const std::string empty = "Backspace Backspace Backspace ";
    expect("OpenEvent=1\n", {{kCycle + "600", "", ""},
                             {kCycle + "5", "", stored("300") + signalled},
                             {"", "", ""},  // what could not be read counts as 300
                             {"", empty + "10", stored("10") + signalled},
                             {"", empty + "3600", stored("3600") + signalled},
                             {"OpenEvent=0", empty + "11", stored("11") + open_event},
                             {"RegCreateKeyEx=5", empty + "11", "RegCreateKeyEx(HKLM," + kKey + ",0xf003f)"},
                             {"RegSetValueEx=5", empty + "11", stored("11")},
                             {"", empty + "9", "", range, false},
                             {"", empty + "3601", "", range, false},
                             {"", empty + "-10", "", range, false},
                             {"", empty, "", range, false}});
    EXPECT_FALSE(traced("0|Open Eventlog_Cycle_Event Success."));
    keys("S-Tab 44");  // the last one goes on after its message
    press("OK");
    EXPECT_EQ(joined_calls(), stored("44") + signalled);
    EXPECT_TRUE(traced("0|Open Eventlog_Cycle_Event Success."));
}

TEST_F(SyslogTest, CancelAndHotKeysWriteNothing) {
    expect_leaving_writes_nothing(kCycle + "600", "Backspace 1 Ctrl-A", {"Ctrl-O", "Esc", "Cancel"});
    // Also after a refused OK and its message.
    expect_leaving_writes_nothing(kCycle + "600", "Backspace Backspace Tab Enter Enter", {"Ctrl-O", "Esc"});
}

}  // namespace
}  // namespace zeltest
