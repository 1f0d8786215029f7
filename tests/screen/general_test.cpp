// SPDX-License-Identifier: GPL-3.0-or-later
// The general panel: SNMP settings, rack name, and the chassis light with its worker thread.
#include "result_test.h"

namespace zeltest {
namespace {

const std::string kServer = R"(snmp.flags=1,1
rack=R1
conf.communities=public,plinth,private
community=plinth
)";
const std::string kStillRunning = "Notice: Chassis Identify is still running!";
// The worker's calls up to its first wait, and those of End.
const std::string kLight =
    R"(TraceLogSetThrName(ChassisIdentify) GetZelaRegNum(SOFTWARE\QUD\ZELAgent\CPL\Default\general )"
    R"(ChassisIDTime,SOFTWARE\QUD\ZELAgent\CPL\Default\general ChassisIDInterval) CreateEvent(0,0,) )";
const std::string kIdentify = "ZELChassisIdentify_V15(5)";
const std::string kOff = "ZELChassisIdentify_V15(0)";

class GeneralTest : public ResultTest {
  protected:
    GeneralTest() : ResultTest(0, "TITTLE_GENERAL_ID") {}
    void open(const std::string& script = "") { ResultTest::open(kServer + script); }
    std::string boxes() { return box("GENERAL_ENABLE_ID") + "," + box("GENERAL_PERMIT_ID"); }
    std::string community() {
        const auto at = tool().find(text("GENERAL_SNMPC_ID")).value();
        const std::string row = tool().row(at.row).substr(tool().row(at.row).find(text("GENERAL_SNMPC_ID")));
        const auto from = text("GENERAL_SNMPC_ID").size() + 1;
        return row.substr(from, row.find(' ', from) - from);
    }

    /// Presses one of the two compact buttons.
    std::string push(const char* button) {
        constexpr int kFocusedBackground = 4;
        for (int i = 0; i < 8 && tool().cell(text(button)).background != kFocusedBackground; ++i)
            keys("Tab");
        keys("Enter");
        return result();
    }
    std::string begin() { return push("BUTTON_DIALOG_BEGIN"); }
    std::string end() { return push("BUTTON_DIALOG_END"); }

    /// By short names.
    std::string ok() {
        std::string all = ResultTest::ok();
        for (const auto& [name, shorter] : {std::pair<std::string, const char*>{"ApplyRackmount", "rack"},
                                            {"SetSnmpFlagstoReg", "snmp"},
                                            {"SetCommunityNametoReg", "community"},
                                            {"FreeCommnityStruct()", "free"}})
            for (auto at = all.find(name); at != std::string::npos; at = all.find(name))
                all.replace(at, name.size(), shorter);
        return all;
    }
    std::string cancel() { return result_of("Cancel"); }
};

TEST_F(GeneralTest, ShowsTheSettings) {
    open();
    EXPECT_EQ(opening(),
              "GetCurrentRackId() GetSnmpFlagsfromReg() GetCommunityNamefromConf() GetCommunityNamefromReg() "
              "TestCurrentSameasBefore(plinth)");
    EXPECT_EQ(tool().picture(), R"(ZELagntconf - Conf┌───────────────┤ General ├───────────────┐
                  │                                         │
                  │   SNMP Settings                         │
                  │   [*] Enable management through SNMP    │
                  │    [*] Permit changes through SNMP      │
                ┌─│                                         │ ┐
                │ │ Community name plinth                   │ │
                │ │                                         │ │
                │ │ Rack Mount                              │ │
                │ │                                         │ │
                │ │ Rack name       R1______                │ │
                │ │                                         │ │
                │ │                                         │ │
                │ │ Chassis Identification   <Begin>  <End> │ │
                │ │                                         │ │
                │ │                                         │ │
                │ │                                         │ │
                │ │           ┌────┐    ┌────────┐          │ │
                └─│           │ OK │    │ Cancel │          │ ┘
                  │           └────┘    └────────┘          │
                  │                                         │
                  │                                         │
                  └─────────────────────────────────────────┘
  <Tab>/<Shift-Tab>                                           >/<Down> list
)");
    EXPECT_EQ(cancel(), "FreeCommnityStruct()");
    EXPECT_FALSE(is_open());
}

TEST_F(GeneralTest, EveryFailedReadShowsAMessageAndNoPanel) {
    for (const std::string call : {"GetCurrentRackId", "GetSnmpFlagsfromReg", "GetCommunityNamefromReg"}) {
        open(call + "=1");
        EXPECT_EQ(message(), "Error: " + text("HWERR_OPEN_ID"));
        EXPECT_TRUE(traced("1|<" + call + "() failed.")) << call;
        EXPECT_TRUE(opening().ends_with(call + "()")) << opening();
        EXPECT_FALSE(is_open());
    }
}

TEST_F(GeneralTest, MemoryThatRunsShortIsTold) {
    // The head of the list of communities, then the node of a stored one that the configuration lacks.
    options.preload.emplace_back(SHORT_MEMORY_LIBRARY);
    for (const char* memory : {"112:1", "112:2"}) {
        SCOPED_TRACE(memory);
        options.environment["SHORT_MEMORY"] = memory;
        open("conf.communities=a\ncommunity=other");
        EXPECT_EQ(message(), "Error: Calling malloc failed.");
        EXPECT_TRUE(traced("2|<malloc failed."));
        EXPECT_FALSE(is_open());
    }
}

TEST_F(GeneralTest, ThePermitBoxDependsOnTheEnableBox) {
    struct Case {
        const char* flags;
        const char* keys;
        const char* boxes;
        const char* written;
    };
    const Case cases[] = {{"1,1", "", "*,*", "snmp({1,1})"},
                          {"1,0", "", "*, ", "snmp({1,0})"},
                          {"0,1", "", " , x", "snmp({0,0})"},
                          {"2,2", "", "*,*", "snmp({1,1})"},
                          {"1,1", "Space", " , x", "snmp({0,0})"},
                          {"1,1", "Space Space", "*, ", "snmp({1,0})"},
                          {"0,0", "Space Tab Space", "*,*", "snmp({1,1})"},
                          {"0,0", "Tab Space", " , x", "snmp({0,0})"},
                          {"1,1", "Tab Space", "*, ", "snmp({1,0})"}};
    for (const auto& [flags, typed, shown, written] : cases) {
        SCOPED_TRACE(flags + std::string(", ") + typed);
        open("snmp.flags=" + std::string(flags));
        keys(typed);
        EXPECT_EQ(boxes(), shown);
        EXPECT_EQ(ok(), "rack(R1) " + std::string(written) + " community(plinth) community(plinth) free");
        EXPECT_FALSE(is_open());
    }
}

TEST_F(GeneralTest, CommunitiesComeFromTheConfigurationAndAreWrittenByWayOfTheDefault) {
    const std::string missing = "The current community name isn't contained in snmpd.conf.";
    const std::string to_list = "Tab Tab ";
    const std::string plinth = "community(plinth) ";
    const std::string name31(31, 'n');
    const std::string name99(99, 'm');
    struct Case {
        std::string script;
        std::string keys;
        std::string shown;
        std::string written;
    };
    const Case cases[] = {
        {"", "", "plinth", plinth + plinth},
        {"", to_list + "Up", "public", "community(public) "},
        {"", to_list + "Enter Down", "private", plinth + plinth + "community(private) "},
        {"community=private", "", "private", plinth + plinth + "community(private) "},
        {"GetCommunityNamefromConf=0\nconf.communities=", "", "plinth", plinth},
        {"conf.communities=a,b\ncommunity=other", "", "other", missing},
        {"conf.communities=a,b\ncommunity=other", to_list + "Down Down", "b",
         plinth + plinth + "community(b) "},
        {"conf.communities=plinth\ncommunity=", to_list + "Down", "plinth", plinth + plinth},
        {"conf.communities=a," + name31 + "\ncommunity=" + name31, "", name31,
         plinth + "community(" + name31 + ") "},
        {"conf.communities=plinth," + name99, to_list + "Down", "..." + std::string(47, 'm'),
         plinth + "community(" + name99 + ") "},
    };
    for (const auto& [script, typed, shown, written] : cases) {
        SCOPED_TRACE(script + " " + typed);
        open(script);
        keys(typed);
        EXPECT_EQ(community(), shown);
        const bool refused = written == missing;
        EXPECT_EQ(ok(),
                  refused ? missing + " rack(R1) snmp({1,1})" : "rack(R1) snmp({1,1}) " + written + "free");
        EXPECT_EQ(is_open(), refused);
        EXPECT_EQ(traced("1|The current community name isn't contained in snmpd.conf."), refused);
    }
    // Refused once, then another row.
    open("conf.communities=a\ncommunity=other");
    ok();
    keys("Tab Tab Tab Tab Down");
    EXPECT_EQ(ok(), "rack(R1) snmp({1,1}) community(plinth) community(a) free");
}

TEST_F(GeneralTest, RackNamesAreCutAtACharacter) {
    const std::string wide = "架";
    std::string wide_name;
    for (int i = 0; i < 100; ++i)
        wide_name += wide;
    struct Case {
        std::string typed;
        std::string written;
    };
    for (const auto& [typed, written] :
         {Case{"R2", "R2"}, Case{"-a.b", "-a.b"}, Case{std::string(300, 'r'), std::string(255, 'r')},
          Case{wide_name, wide_name.substr(0, 255)}, Case{"x" + wide_name, "x" + wide_name.substr(0, 252)}}) {
        open("ApplyRackmount=1");
        keys("Tab Tab Tab Backspace Backspace " + typed);
        EXPECT_EQ(ok(), "Error: " + text("HWERR_OPEN_ID") + " rack(" + written +
                            ") snmp({1,1}) community(plinth) community(plinth) free");
        EXPECT_FALSE(is_open());
        EXPECT_TRUE(traced("1|ApplyRackmount failed."));
    }
}

TEST_F(GeneralTest, TheLightBlinksUntilEnd) {
    const std::string key = R"(reg SOFTWARE\QUD\ZELAgent\CPL\Default\general ChassisID)";
    struct Case {
        std::string script;
        std::string identify;
        std::string wait;
    };
    for (const auto& [script, identify, wait] :
         {Case{"", kIdentify, "6000"},
          Case{key + "Time=dword:10\n" + key + "Interval=dword:2", "ZELChassisIdentify_V15(10)", "2000"},
          Case{key + "Time=dword:256\n" + key + "Interval=dword:0", kIdentify, "6000"},
          Case{key + "Time=dword:511\n" + key + "Interval=dword:4294968", "ZELChassisIdentify_V15(255)",
               "704"}}) {
        const std::string waits = " WaitForSingleObject(1," + wait + ")";
        open(script + "\nWaitForSingleObject=0x102,0xffffffff,0");
        EXPECT_EQ(end(), kOff);
        EXPECT_EQ(begin(), "CreateThread() sleep(1) " + kLight + identify + waits + " " + identify + waits +
                               " " + identify + waits);
        EXPECT_EQ(begin(), "") << "one worker only";
        EXPECT_EQ(ok(), kStillRunning);
        EXPECT_EQ(cancel(), kStillRunning);
        EXPECT_EQ(end(), "SetEvent(1) " + kOff);
        EXPECT_EQ(end(), kOff);
        // Once more, with an event of its own.
        EXPECT_TRUE(begin().ends_with(" WaitForSingleObject(2," + wait + ")"));
        EXPECT_EQ(end(), "SetEvent(2) " + kOff);
        EXPECT_EQ(cancel(), "FreeCommnityStruct()");
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

    // The worker is quick enough for its failure to be seen.
    open("thread=first\nCreateEvent=0,1");
    EXPECT_EQ(begin(), "Error: Create Event Failed! CreateThread() " + kLight + "sleep(1)");
    EXPECT_TRUE(traced("1|<CreateEvent failed.return 1."));
    EXPECT_TRUE(begin().ends_with("sleep(1)"));
    EXPECT_EQ(end(), "SetEvent(1) " + kOff);

    // Too late: the panel takes the worker for running, and only a hot key leaves.
    open("CreateEvent=0");
    EXPECT_EQ(begin(), "CreateThread() sleep(1) " + kLight.substr(0, kLight.size() - 1));
    EXPECT_EQ(cancel(), kStillRunning);
    EXPECT_EQ(end(), "Error: Set Event Failed! SetEvent(0) " + kOff);
    keys("Ctrl-O");
    EXPECT_FALSE(is_open());

    // A command that fails later is told at the next Begin.
    open("SetEvent=0,1\nZELChassisIdentify_V15=0,-5,0");
    begin();
    EXPECT_EQ(end(), "Error: Set Event Failed! SetEvent(1) " + kIdentify + " " + kOff);
    EXPECT_TRUE(begin().starts_with("Error: Chassis Identify failed! CreateThread() "));
}

TEST_F(GeneralTest, AHotKeyLeavesWhileTheLightBlinksAndTheToolEndsCleanly) {
    for (const char* key : {"Ctrl-O", "Esc"}) {
        for (const std::string mode : {"", "thread=free"}) {
            SCOPED_TRACE(key + mode);
            open(mode);
            begin();
            keys("F12 " + std::string(key));
            EXPECT_FALSE(is_open());
            keys("Enter");  // the panel once more: the light is still on
            EXPECT_TRUE(is_open());
            joined_calls();
            EXPECT_EQ(cancel(), kStillRunning);
            if (key == std::string_view("Esc")) end();
            keys("Ctrl-O");
            tool().send("Ctrl-O");
            EXPECT_EQ(tool().wait_exit(), 0) << errors();
            EXPECT_TRUE(tool().terminal_restored());
            EXPECT_EQ(errors(), "");
        }
    }
}

}  // namespace
}  // namespace zeltest
