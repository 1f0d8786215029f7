// SPDX-License-Identifier: GPL-3.0-or-later
// The general panel: SNMP settings, rack name, and the chassis light with its worker thread.
#include "panel_test.h"

namespace zeltest {
namespace {

const std::string kServer =
    "snmp.flags=1,1\nrack=R1\nconf.communities=public,plinth,private\ncommunity=plinth\n";
const std::string kStillRunning = "Notice: Chassis Identify is still running!";
// The worker's calls up to its first wait, and those of End.
const std::string kLight =
    R"(TraceLogSetThrName(ChassisIdentify) GetZelaRegNum(SOFTWARE\QUD\ZELAgent\CPL\Default\general )"
    R"(ChassisIDTime,SOFTWARE\QUD\ZELAgent\CPL\Default\general ChassisIDInterval) CreateEvent(0,0,))";
const std::string kIdentify = " ZELChassisIdentify_V15(5)";
const std::string kOff = "ZELChassisIdentify_V15(0)";

/// What OK asks: the flags, then the communities that are set one after the other.
std::string saved(const std::string& flags, std::initializer_list<std::string> communities,
                  const std::string& rack = "R1") {
    std::string all = "ApplyRackmount(" + rack + ") SetSnmpFlagstoReg({" + flags + "})";
    for (const auto& name : communities)
        all += " SetCommunityNametoReg(" + name + ")";
    return all + (communities.size() == 0 ? "" : " FreeCommnityStruct()");
}

class GeneralTest : public PanelTest {
  protected:
    GeneralTest() : PanelTest(0, "TITTLE_GENERAL_ID") {}

    /// Presses one of the two compact buttons.
    std::string push(const char* button) {
        constexpr int kFocusedBackground = 4;
        for (int i = 0; i < 8 && tool().cell(text(button)).background != kFocusedBackground; ++i)
            keys("Tab");
        keys("Enter");
        return result_of("");
    }
    std::string begin() { return push("BUTTON_DIALOG_BEGIN"); }
    std::string end() { return push("BUTTON_DIALOG_END"); }
};

TEST_F(GeneralTest, ReadsInOrderAndShowsNoPanelAfterAFailedRead) {
    open(kServer);
    EXPECT_EQ(opening(),
              "GetCurrentRackId() GetSnmpFlagsfromReg() GetCommunityNamefromConf() GetCommunityNamefromReg() "
              "TestCurrentSameasBefore(plinth)");
    for (const std::string call : {"GetCurrentRackId", "GetSnmpFlagsfromReg", "GetCommunityNamefromReg"})
        expect_no_panel({{call + "=1", "Error: HWERR_OPEN_ID", "1|<" + call + "() failed."}});
}

TEST_F(GeneralTest, ThePermitBoxDependsOnTheEnableBox) {
    for (const auto& [flags, typed, boxes, written] :
         {Four{"1,0", "", "*, ", "1,0"}, Four{"0,1", "", " , x", "0,0"}, Four{"2,2", "", "*,*", "1,1"},
          Four{"1,1", "Space", " , x", "0,0"}, Four{"1,1", "Space*2", "*, ", "1,0"},
          Four{"0,0", "Space Tab Space", "*,*", "1,1"}, Four{"1,1", "Tab Space", "*, ", "1,0"}}) {
        SCOPED_TRACE(flags + ", " + typed);
        open(kServer + "snmp.flags=" + flags);
        keys(typed);
        EXPECT_EQ(box("GENERAL_ENABLE_ID") + "," + box("GENERAL_PERMIT_ID"), boxes);
        EXPECT_EQ(ok(), saved(written, {"plinth", "plinth"}));
        EXPECT_FALSE(is_open());
    }
}

TEST_F(GeneralTest, CommunitiesComeFromTheConfigurationAndAreWrittenByWayOfTheDefault) {
    const std::string missing = "The current community name isn't contained in snmpd.conf.";
    const std::string other = "conf.communities=a,b\ncommunity=other";
    std::string wide = "x";  // a rack name is cut at a character
    for (int i = 0; i < 100; ++i)
        wide += "架";
    const std::string name99(99, 'm');
    expect(kServer,
           {Try{"", "Tab*2 Up", saved("1,1", {"public"})},
            Try{"", "Tab*2 Enter Down", saved("1,1", {"plinth", "plinth", "private"})},
            Try{"GetCommunityNamefromConf=0\nconf.communities=", "", saved("1,1", {"plinth"})},
            Try{other, "Tab*2 Down*2", saved("1,1", {"plinth", "plinth", "b"})},
            Try{"conf.communities=plinth\ncommunity=", "Tab*2 Down", saved("1,1", {"plinth", "plinth"})},
            Try{"ApplyRackmount=1", "Tab*3 Backspace*2 " + wide,
                saved("1,1", {"plinth", "plinth"}, wide.substr(0, 253)), "Error: HWERR_OPEN_ID", true,
                "1|ApplyRackmount failed."},
            Try{"conf.communities=plinth," + name99, "Tab*2 Down", saved("1,1", {"plinth", name99})},
            Try{"rack=R\u202E1", "", saved("1,1", {"plinth", "plinth"}, "R\u202E1")},  // shown with "?"
            Try{"rack=R\u202E1", "Tab*3 2", saved("1,1", {"plinth", "plinth"}, "R?12")},
            Try{other, "", saved("1,1", {}), missing, false, "1|" + missing}});
    keys("Tab*4 Down");  // refused, then another row
    EXPECT_EQ(ok(), saved("1,1", {"plinth", "a"}));
    open(kServer + "conf.communities=plinth,a\u202E" + name99.substr(4));
    keys("Tab*2 Down");
    EXPECT_TRUE(shows(text("GENERAL_SNMPC_ID") + " a?" + std::string(45, 'm') + "... "));
}

TEST_F(GeneralTest, TheLightBlinksUntilEnd) {
    const std::string key = R"(reg SOFTWARE\QUD\ZELAgent\CPL\Default\general ChassisID)";
    for (const auto& [script, interval, wait] :
         {Three{"", "5", "6000"}, Three{key + "Time=dword:256\n" + key + "Interval=dword:0", "5", "6000"},
          Three{key + "Time=dword:511\n" + key + "Interval=dword:4294968", "255", "704"}}) {
        const std::string blink =
            " ZELChassisIdentify_V15(" + interval + ") WaitForSingleObject(1," + wait + ")";
        open(kServer + script + "\nWaitForSingleObject=0x102,0xffffffff,0");
        EXPECT_EQ(end(), kOff);
        EXPECT_EQ(begin(), "CreateThread() sleep(1) " + kLight + blink + blink + blink);
        EXPECT_EQ(begin(), "") << "one worker only";
        EXPECT_EQ(ok() + result_of("Cancel"), kStillRunning + kStillRunning);
        EXPECT_EQ(end(), "SetEvent(1) " + kOff);
        // Once more, with an event of its own.
        EXPECT_TRUE(begin().ends_with(" WaitForSingleObject(2," + wait + ")"));
        EXPECT_EQ(end(), "SetEvent(2) " + kOff);
        EXPECT_EQ(result_of("Cancel"), "FreeCommnityStruct()");
        EXPECT_FALSE(is_open());
    }
}

TEST_F(GeneralTest, FailuresOfTheLightAreTold) {
    open("CreateThread=0,1");
    EXPECT_EQ(begin(), "Error: Create Thread Failed! CreateThread() sleep(1)");
    EXPECT_TRUE(traced("1|Create Thread Failed!"));
    EXPECT_TRUE(begin().ends_with("WaitForSingleObject(1,6000)"));

    open("ZELChassisIdentify_V15=-5,0");
    EXPECT_EQ(begin(), "Error: Chassis Identify failed! CreateThread() sleep(1) " + kLight + kIdentify);
    EXPECT_TRUE(traced("1|ZELChassisIdentify_V15 failed."));
    EXPECT_TRUE(begin().ends_with("WaitForSingleObject(2,6000)"));

    // Signals do not shorten the second in which a failure is waited for.
    open("ZELChassisIdentify_V15=-5\nsleep=4,4,0");
    EXPECT_EQ(begin(), "Error: Chassis Identify failed! CreateThread() sleep(1) sleep(on) sleep(on) " +
                           kLight + kIdentify);

    // The panel takes the worker for running, and only a hot key leaves.
    open("CreateEvent=0");
    EXPECT_EQ(begin(), "CreateThread() sleep(1) " + kLight);
    EXPECT_EQ(result_of("Cancel"), kStillRunning);
    EXPECT_EQ(end(), "Error: Set Event Failed! SetEvent(0) " + kOff);
    keys("Ctrl-O");
    EXPECT_FALSE(is_open());

    // A command that fails later is told at the next Begin.
    open("SetEvent=0,1\nZELChassisIdentify_V15=0,-5,0");
    begin();
    EXPECT_EQ(end(), "Error: Set Event Failed! SetEvent(1)" + kIdentify + " " + kOff);
    EXPECT_TRUE(begin().starts_with("Error: Chassis Identify failed! CreateThread() "));
}

TEST_F(GeneralTest, AHotKeyLeavesWhileTheLightBlinksAndTheToolEndsCleanly) {
    open("");
    begin();
    keys("F12 Ctrl-O");
    EXPECT_FALSE(is_open());
    keys("Enter");  // the panel once more: the light is still on
    joined_calls();
    EXPECT_EQ(result_of("Cancel"), kStillRunning);
    keys("Ctrl-O");
    tool().send("Ctrl-O");
    EXPECT_EQ(tool().wait_exit(), 0) << errors();
    EXPECT_TRUE(tool().terminal_restored());
    EXPECT_EQ(errors(), "");
}

}  // namespace
}  // namespace zeltest
