// SPDX-License-Identifier: GPL-3.0-or-later
// Start-up and shut-down: what is asked in which order, what makes the tool end early and how it says so.
#include <algorithm>
#include <fstream>

#include "tool_fixture.h"

namespace zeltest {
namespace {

class StartupTest : public ToolTest {};

Lines operator+(Lines left, const Lines& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

const Lines kTrace = {"TraceLogInit(0,ZELagntconf,0,5,0)"};
const Lines kFaultTolerance = kTrace + Lines{"call_zel_is_ft()"};
const Lines kCatalogue = kFaultTolerance + Lines{"ExpandEnvironmentStrings(%ZelDir%,1024)"};
const Lines kService = kCatalogue + Lines{"CheckNTserverReady()"};
const Lines kVersion = kService + Lines{"RegOpenKeyEx(HKLM,SOFTWARE\\QUD\\ZELAgent,0x20019)",
                                        "RegQueryValueEx(CurrentVersion,32)",
                                        "RegCloseKey(SOFTWARE\\QUD\\ZELAgent)", "load_libzelsmbios()"};
const Lines kTabs = {"RegOpenKeyEx(HKLM,SOFTWARE/QUD/ZELAgent/CPL,0x20019)", "RegQueryValueEx(CplTabView,4)",
                     "RegCloseKey(SOFTWARE/QUD/ZELAgent/CPL)"};
const Lines kChassis = {"smbios.initialise()",
                        "smbios.count(0xc0046b52,3)",
                        "smbios.structure(0xc0016b50,3,0)",
                        "smbios.structure(0xc0016b50,3,1)",
                        "smbios.structure(0xc0016b50,3,2)",
                        "smbios.close()"};
const Lines kLibrary = {"GetZelRootPath(256)", "LoadLibrary($ZelDir/lib/dissensor.dll)"};
const Lines kNoStatus = {"GetProcAddress(GetSharedSensorStatus)", "FreeLibrary()"};
const Lines kStatus = {kNoStatus[0], "GetSharedSensorStatus()", kNoStatus[1]};
const Lines kHardware = {"GetQudHwidFor38()"};
const Lines kRelease = {"destroy_libzelsmbios()"};
const Lines kUpTo41Library = kVersion + kTabs + kTabs + kChassis + kLibrary;
const Lines kUpTo38Library = kVersion + kChassis + kLibrary;

const std::string kThreeChassis = "smbios.chassis=17,fe,03\n";
const std::string kAgent = "reg SOFTWARE\\QUD\\ZELAgent CurrentVersion=sz:";
const std::string kTabView = "reg SOFTWARE/QUD/ZELAgent/CPL CplTabView=dword:";

TEST_F(StartupTest, EveryEarlyEndSaysWhyAndReleasesWhatItHolds) {
    struct Case {
        std::string script;
        const char* output;
        const char* trace;
        Lines calls;
        const char* argument = nullptr;
    };
    const std::string agent38 = kAgent + "3.8\n";
    const char* const no_catalogue = "1|<Open string file failed.exit(0).";
    const char* const no_library = "1|<LoadLibrary $ZelDir/lib/dissensor.dll failed.return FALSE.";
    std::filesystem::create_directories(folder() / "empty" / "data");
    std::ofstream(folder() / "empty" / "data" / "E_ctlpanel.rc");
    const Case cases[] = {
        {"", "", "1|<No params needed.exit(0).", kTrace, "-h"},
        {"call_zel_is_ft=-1", "", "1|<call_zel_is_ft() failed.exit(0).", kFaultTolerance},
        {"ZelDir=", "", no_catalogue, kCatalogue},
        {"ZelDir=/nowhere", "", no_catalogue, kCatalogue},
        {"ZelDir=" + (folder() / "empty").string(), "", "2|<fread failed.exit(0)", kCatalogue},
        {"CheckNTserverReady=-1", "Please confirm ZELntserver is running!",
         "1|<ZELntserver is not running.exit(0).", kService},
        {"LoadLibrary=0", "", no_library, kUpTo41Library + kRelease},
        {agent38 + "LoadLibrary=0", "", no_library, kUpTo38Library + kRelease},
        {"GetProcAddress=0", "", "1|<GetProcAddress(GetSharedSensorStatus) failed.return FALSE.",
         kUpTo41Library + kNoStatus + kRelease},
        {agent38 + "GetQudHwidFor38=0", "Get HWID from proc error!", "1|<GetHWIDFromProc error!exit(0).",
         kUpTo38Library + kStatus + kHardware + kRelease},
    };
    for (const auto& [script, output, trace, calls_made, argument] : cases) {
        SCOPED_TRACE(trace);
        options.command.resize(1);
        if (argument != nullptr) options.command.emplace_back(argument);
        launch(kThreeChassis + script);
        EXPECT_EQ(tool().wait_exit(), 0);
        EXPECT_EQ(tool().picture(), std::string(output) + "\n");
        EXPECT_EQ(errors(), argument != nullptr ? "The parameter is invalid.\n" : "");
        EXPECT_TRUE(traced(trace));
        EXPECT_EQ(calls(), calls_made);
    }
}

TEST_F(StartupTest, WithoutAUsableTerminalOneLineSaysSo) {
    struct Case {
        int redirected;  // 0 standard input, 1 standard output, -1 none
        std::optional<std::string> term;
        const char* word;
    };
    const Case cases[] = {{0, "xterm", "terminal"}, {1, "xterm", "terminal"}, {-1, std::nullopt, "TERM"},
                          {-1, "", "TERM"},         {-1, "dumb", "terminal"}, {-1, "none", "terminal"}};
    const std::string file = folder() / "redirected";
    std::ofstream{file};
    for (const auto& [redirected, term, word] : cases) {
        SCOPED_TRACE(std::to_string(redirected) + " " + term.value_or("(unset)"));
        options.environment["TERM"] = term;
        for (int fd = 0; fd < 2; ++fd)
            options.redirect.at(static_cast<std::size_t>(fd)) = redirected == fd ? file : "";
        launch(kThreeChassis);
        EXPECT_EQ(tool().wait_exit(), 0);
        EXPECT_NE(errors().find(word), std::string::npos) << errors();
        EXPECT_EQ(std::ranges::count(errors(), '\n'), 1) << errors();
        EXPECT_EQ(tool().picture(), "\n");
        EXPECT_TRUE(tool().terminal_restored());
        EXPECT_EQ(calls(), kUpTo41Library + kStatus + kRelease);
    }
    EXPECT_EQ(std::filesystem::file_size(file), 0U);
}

TEST_F(StartupTest, WithoutTheWidgetLibraryTheToolEndsCleanly) {
    std::ofstream(folder() / "libnewt.so.0.52") << std::string(128, 'x');
    options.environment["LD_LIBRARY_PATH"] = folder();
    launch(kThreeChassis);
    EXPECT_EQ(tool().wait_exit(), 0);
    EXPECT_TRUE(traced("1|<Init newtlib failed!return 0."));
    EXPECT_EQ(calls(), kUpTo41Library + kStatus + kRelease);
}

TEST_F(StartupTest, ProbesDecideWhichRowsTheMenuHas) {
    const std::string blade = kThreeChassis + "GetSharedSensorStatus=0\n";
    const std::string unknown = "1|Get version value failed from registry.exit(0)";
    const std::string no_smbios = "1|<zel_smbios_init() failed.return FALSE.";
    struct Case {
        std::string script;
        std::string flags;  // voltage, temperature, maintenance mode
        int rows;
        std::string trace;
        std::string trace2 = "";
    };
    const Case cases[] = {
        {kAgent + "3.8", "111", 12, "0|<return 1.*qudhwidflag=1.", "3|GetSharedSensorStatus() return -1."},
        {kAgent + "3.80\n" + kTabView + "0", "111", 12, "0|<return 1.*qudhwidflag=1."},
        {kAgent + "3.8\n" + blade, "111", 13, "3|iBladeFlag = 1.", "3|GetSharedSensorStatus() return 0."},
        {kAgent + "3.8\n" + blade + "GetSharedSensorStatus=-1", "111", 12, "3|iBladeFlag = 1."},
        {kAgent + "3.8\nhwid.model=679", "111", 7, "3|iBladeFlag = 0."},
        {kAgent + "3.8\n" + blade + "hwid.model=680", "111", 7, "3|iBladeFlag = 1."},
        {kAgent + "3.8\nhwid.model=681", "111", 12, "3|iBladeFlag = 0."},
        {kAgent + "3.9", "000", 9, "0|<return 1.*qudhwidflag=2.",
         "0|<RegQueryValueEx CplTabView failed.return 0."},
        {kAgent + "4.0\n" + kTabView + "0xC0", "110", 11, "0|<return 1.*qudhwidflag=3.", "3|dwTagView=0xc0"},
        {kAgent + "4.10\n" + kTabView + "0x40", "010", 10, "0|<return 1.*qudhwidflag=4.",
         "3|iShowTempFlag = 1."},
        {kTabView + "0x80", "100", 10, "3|iShowVoltFlag = 1.", "3|iShowTempFlag = 0."},
        {kTabView + "0x3F\nhwid.model=679", "000", 9, "1|<GetNum.number==0.return FALSE."},
        {kTabView + "0xC0\n" + blade, "110", 12, "3|zel_smbios_init() return 0.", "3|iBladeFlag = 1."},
        {blade + "GetSharedSensorStatus=-2", "000", 9, "3|iBladeFlag = 1."},
        {blade + "load_libzelsmbios=0", "000", 9, no_smbios},
        {blade + "load_libzelsmbios=-1", "000", 9, no_smbios,
         "3|Flag of load_libzelsmbios(-1,failed; 1, success; 0,libzelsmbios.so is not exist!):-1"},
        {blade + "smbios.initialise=-1", "000", 9, no_smbios, "3|zel_smbios_init() return -1."},
        {blade + "smbios.count=-1", "000", 9, "1|<GET_STRUCTURE_NUMBER Failed!return FALSE."},
        {blade + "smbios.structure=0,0,-1", "000", 9, "3|iBladeFlag = 0.",
         "1|<Execute GET_STRUCTURE_TYPE_AND_OFFSET  failed.return FALSE."},
        {"call_zel_is_ft=2\n" + kTabView + "0xC0", "110", 11, "3|This is FT server."},
        {kAgent + "5.0\n" + kTabView + "0x80", "100", 10, unknown,
         "1|<The current version is not between V3.8 and  V4.1!return 0."},
        {kAgent + "4", "000", 9, unknown},
        {"RegQueryValueEx=2", "000", 9, unknown, "1|<RegQueryValueEx CurrentVersion failed,return 0."},
        {"RegOpenKeyEx=2", "000", 9, unknown, "1|<RegOpenKeyEx SOFTWARE/QUD/ZELAgent/CPL failed.return 0."},
    };
    for (const auto& [script, flags, rows, trace, trace2] : cases) {
        SCOPED_TRACE(script);
        open_menu(script);
        EXPECT_TRUE(traced(std::string("0|>iShowVoltFlag=") + flags[0] + ",iShowTempFlag=" + flags[1] +
                           ",iShowMovalFlag=" + flags[2] + ",TABTOTAONUM=" + std::to_string(rows) + "."));
        EXPECT_TRUE(traced(trace)) << trace;
        EXPECT_TRUE(trace2.empty() || traced(trace2)) << trace2;
        const bool opened = traced("3|zel_smbios_init() return 0.");
        EXPECT_EQ(std::ranges::count(calls(), "smbios.close()"), opened ? 1 : 0);
    }
}

TEST_F(StartupTest, ShutDownReleasesTheLibrariesAndTheTerminal) {
    open_menu(kThreeChassis + kAgent + "3.8");
    EXPECT_FALSE(tool().terminal_restored());
    EXPECT_EQ(calls(), kUpTo38Library + kStatus + kHardware);
    keys("Tab");
    tool().send("Enter");
    EXPECT_EQ(tool().wait_exit(), 0);
    EXPECT_TRUE(tool().terminal_restored());
    EXPECT_EQ(tool().picture(), "\n");
    EXPECT_EQ(calls(), kRelease);
    EXPECT_TRUE(trace().back().starts_with("0|main|") && trace().back().ends_with("|<")) << trace().back();
}

TEST_F(StartupTest, LanguageChoosesTheCatalogue) {
    catalogue("E_ctlpanel.rc", "[TITTLE_MAIN_ID]=\"English\"\n");
    catalogue("J_ctlpanel.rc", "[TITTLE_MAIN_ID]=\"日本語\"\n");
    const std::pair<std::optional<std::string>, bool> cases[] = {
        {"ja_JP.UTF-8", true}, {"ja", true},     {"JA_JP.UTF-8", false}, {"j", false},
        {"", false},           {"en_US", false}, {"xja", false},         {std::string(5000, 'x'), false},
        {std::nullopt, false}};
    for (const auto& [lang, japanese] : cases) {
        SCOPED_TRACE(lang.value_or("(unset)"));
        options.environment["LANG"] = lang;
        open_menu();
        EXPECT_EQ(shows("English"), !japanese) << tool().picture();
        EXPECT_TRUE(lang != "ja_JP.UTF-8" || shows("日本語")) << tool().picture();
    }
}

}  // namespace
}  // namespace zeltest
