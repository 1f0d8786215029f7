// SPDX-License-Identifier: GPL-3.0-or-later
// The LAN, RAID and event-log panels: what OK asks of the agent and when they close.
#include "panel_test.h"

namespace zeltest {
namespace {

class LanTest : public PanelTest {
  protected:
    LanTest() : PanelTest(5, "TITTLE_LAN_ID") {}
};
const std::string kLan = "lan.settings=60,10,20,30\n";

TEST_F(LanTest, OkTestsEverythingThenWrites) {
    const std::string test = "TestInputLanParameter({60,10,20,30})";
    const std::string both = test + " PutLanThreshold({60,10,20,30})";
    expect(kLan,
           {
               Try{"", "", both},
               Try{"", "Backspace*2 -7 Tab Backspace 9",
                   "TestInputLanParameter({-7,19,20,30}) PutLanThreshold({-7,19,20,30})"},
               Try{"", "Tab*3 Backspace*2", "", "INPUT_NULL_ID", false},
               Try{"TestInputLanParameter=0x1111", "", test,
                   "LANERR_INTERVAL_ID 1 3600;LANERR_HW_ID 0 100;LANERR_RETRY_ID 10 50;LANERR_ABORT_ID 10 50",
                   false},
               Try{"TestInputLanParameter=0x2", "", test, "", false},
               Try{"PutLanThreshold=0", "", both, "", false},
           });
    open("GetLanDataFromRegistry=1");
    EXPECT_EQ(messages(), "Error: Open Registry Failed!");
    EXPECT_TRUE(traced("1|GetLanDataFromRegistry() failed."));
    EXPECT_EQ(ok(), "TestInputLanParameter({0,0,0,0}) PutLanThreshold({0,0,0,0})");
    EXPECT_FALSE(is_open());
}

class MylexTest : public PanelTest {
  protected:
    MylexTest() : PanelTest(6, "TITTLE_MYLEX_ID") {}
};

TEST_F(MylexTest, OkHandsOverAChangedInterval) {
    const std::string changed = "ResetMylexService(6)";
    expect("", {Try{"", "", ""}, Try{"mylex.interval=-5", "", ""}, Try{"", "Backspace", changed},
                Try{"ResetMylexService=-1", "Backspace", changed, "STORERR_DAEMON_ID", false},
                Try{"ResetMylexService=-2", "Backspace", changed, "STORERR_WRITE_ID", false},
                Try{"ResetMylexService=-3", "Backspace*2", "ResetMylexService(0)",
                    "MYLEXERR_INTERVAL_ID 10 3600", false}});
    keys("S-Tab Delete 60");  // refused, then put back to what was read: nothing to hand over
    EXPECT_EQ(ok(), "");
    EXPECT_FALSE(is_open());
    expect_no_panel(
        {{"Mylex_ReadThresholdFromFile=7", "Error: FUNC_CALL_ERR Mylex_ReadThresholdFromFile",
          "1|<Mylex_ReadThresholdFromFile failed."},
         {"Mylex_ReadThresholdFromFile=6", "Error: Can't open zelmlx.inf!", "1|<open zelmlx.inf failed."}});
}

class SyslogTest : public PanelTest {
  protected:
    SyslogTest() : PanelTest(2, "TITTLE_SYSLOG_ID") {}
};
const std::string kKey = R"(SOFTWARE\QUD\ZELALERTMAN\REPORTTABLE\EVENTLOG)";
const std::string kCycle = "reg " + kKey + " CYCLE=dword:";

TEST_F(SyslogTest, ShowsTheIntervalOrTheDefault) {
    for (const auto& [script, interval, line] :
         {Three{kCycle + "10", "10", "0|<return TRUE.*rgData=10."}, Three{kCycle + "3600", "3600", ""},
          Three{kCycle + "9", "300", ""}, Three{kCycle + "3601", "300", ""},
          Three{kCycle + "0xffffffff", "300", ""},
          Three{"", "300", "1|<RegOpenKeyEx " + kKey + " failed.return FALSE."},
          Three{"reg " + kKey + "=", "300", "1|<RegQueryValueEx() CYCLE failed.return FALSE."},
          Three{"reg " + kKey + " CYCLE=sz:longer than a number", "300", ""}}) {
        SCOPED_TRACE(script);
        open(script);
        EXPECT_EQ(entry("SYSLOG_MONITOR_ID"), interval);
        EXPECT_TRUE(line.empty() || traced(line));
        EXPECT_EQ(opening(),
                  "RegOpenKeyEx(HKLM," + kKey + ",0x0)" +
                      (script.empty() ? "" : " RegQueryValueEx(CYCLE,4) RegCloseKey(" + kKey + ")"));
    }
}

TEST_F(SyslogTest, OkWritesAChangeAndSignalsIt) {
    const std::string create = "RegCreateKeyEx(HKLM," + kKey + ",0xf003f)";
    const auto stored = [&](const std::string& value) {
        return create + " RegSetValueEx(" + kKey + ",CYCLE,dword:" + value + ") RegCloseKey(" + kKey + ")";
    };
    const std::string open_event = " OpenEvent(0,0,Eventlog_Cycle_Event)";
    const std::string signalled = open_event + " SetEvent(1) CloseHandle(1)";
    const std::string range = "SYSLOG_SETTING_ERR_ID 10 3600";
    const std::string empty = "Backspace*3 ";
    expect("OpenEvent=1\n", {
                                Try{kCycle + "600", "", ""},
                                Try{kCycle + "5", "", stored("300") + signalled},
                                Try{"", "", ""},  // what could not be read counts as 300
                                Try{"", empty + "10", stored("10") + signalled},
                                Try{"", empty + "3600", stored("3600") + signalled},
                                Try{"OpenEvent=0", empty + "11", stored("11") + open_event},
                                Try{"RegCreateKeyEx=5", empty + "11", create},
                                Try{"RegSetValueEx=5", empty + "11", stored("11")},
                                Try{"", empty + "9", "", range, false},
                                Try{"", empty + "3601", "", range, false},
                            });
    EXPECT_FALSE(traced("0|Open Eventlog_Cycle_Event Success."));
    keys("S-Tab Backspace*4 44");  // the last one goes on after its message
    EXPECT_EQ(ok(), stored("44") + signalled);
    EXPECT_TRUE(traced("0|Open Eventlog_Cycle_Event Success."));
}

}  // namespace
}  // namespace zeltest
