// SPDX-License-Identifier: GPL-3.0-or-later
// Start-up and shut-down: what is asked in which order, what makes the tool end early and how it says so.
#include <algorithm>
#include <fstream>

#include "tool_fixture.h"

namespace zeltest {
namespace {

class StartupTest : public ToolTest {
  protected:
    std::string joined_calls() {
        std::string all;
        for (const auto& call : calls())
            all += call + " ";
        return all;
    }
};

const std::string kTrace = "TraceLogInit(0,ZELagntconf,0,5,0) ";
const std::string kFaultTolerance = kTrace + "call_zel_is_ft() ";
const std::string kCatalogue = kFaultTolerance + "ExpandEnvironmentStrings(%ZelDir%,1024) ";
const std::string kService = kCatalogue + "CheckNTserverReady() ";
const std::string kVersion =
    kService +
    "RegOpenKeyEx(HKLM,SOFTWARE\\QUD\\ZELAgent,0x20019) RegQueryValueEx(CurrentVersion,32) "
    "RegCloseKey(SOFTWARE\\QUD\\ZELAgent) load_libzelsmbios() ";
const std::string kTabs =
    "RegOpenKeyEx(HKLM,SOFTWARE/QUD/ZELAgent/CPL,0x20019) RegQueryValueEx(CplTabView,4) "
    "RegCloseKey(SOFTWARE/QUD/ZELAgent/CPL) ";
const std::string kPath =
    "smbios.initialise() smbios.count(0xc0046b52,3) smbios.structure(0xc0016b50,3,0) "
    "smbios.structure(0xc0016b50,3,1) smbios.structure(0xc0016b50,3,2) smbios.close() GetZelRootPath(256) ";
const std::string kLibrary = kPath + "LoadLibrary($ZelDir/lib/dissensor.dll) ";
const std::string kGetStatus = "GetProcAddress(GetSharedSensorStatus) ";
const std::string kStatus = kGetStatus + "GetSharedSensorStatus() FreeLibrary() ";
const std::string kRelease = "destroy_libzelsmbios() ";
const std::string kUpTo41Path = kVersion + kTabs + kTabs + kPath;
const std::string kUpTo41Library = kVersion + kTabs + kTabs + kLibrary;
const std::string kUpTo38Library = kVersion + kLibrary;

const std::string kThreeChassis = "smbios.chassis=17,fe,03\n";
const std::string kAgent = "reg SOFTWARE\\QUD\\ZELAgent CurrentVersion=sz:";
const std::string kTabView = "reg SOFTWARE/QUD/ZELAgent/CPL CplTabView=dword:";

TEST_F(StartupTest, EveryEarlyEndSaysWhyAndReleasesWhatItHolds) {
    const std::string agent38 = kAgent + "3.8\n";
    const std::string no_library = "1|<LoadLibrary $ZelDir/lib/dissensor.dll failed.return FALSE.";
    std::filesystem::create_directories(folder() / "empty" / "data");
    std::ofstream(folder() / "empty" / "data" / "E_ctlpanel.rc");
    // Script, standard output, standard error, trace, calls.
    using Five = std::array<std::string, 5>;
    const std::string confirm = "Please confirm ZELntserver is running!";
    const std::string as_root = "ZELagntconf: this user has no access to the agent; run the tool as root.\n";
    const std::string not_running = "1|<ZELntserver is not running.exit(0).";
    const Five cases[] = {
        Five{"argument", "", "The parameter is invalid.\n", "1|<No params needed.exit(0).", kTrace},
        Five{"call_zel_is_ft=-1", "", "", "1|<call_zel_is_ft() failed.exit(0).", kFaultTolerance},
        Five{"ZelDir=", "", "", "1|<Open string file failed.exit(0).", kCatalogue},
        Five{"ZelDir=" + (folder() / "empty").string(), "", "", "2|<fread failed.exit(0)", kCatalogue},
        Five{"CheckNTserverReady=-1", confirm, "", not_running, kService},
        Five{"CheckNTserverReady=-1\nno.rights=1", confirm, as_root, not_running, kService},
        Five{"call_zel_is_ft=-1\nno.rights=1", "", as_root, "1|<call_zel_is_ft() failed.exit(0).",
             kFaultTolerance},
        Five{"GetZelRootPath=0", "",
             "ZELagntconf: the agent's directory is not known, or its path is too long.\n",
             "1|<GetZelRootPath() failed.return FALSE.", kUpTo41Path + kRelease},
        Five{"LoadLibrary=0", "", "", no_library, kUpTo41Library + kRelease},
        Five{"GetProcAddress=0", "", "", "1|<GetProcAddress(GetSharedSensorStatus) failed.return FALSE.",
             kUpTo41Library + kGetStatus + "FreeLibrary() " + kRelease},
        Five{agent38 + "GetQudHwidFor38=0", "Get HWID from proc error!", "",
             "1|<GetHWIDFromProc error!exit(0).",
             kUpTo38Library + kStatus + "GetQudHwidFor38() " + kRelease}};
    for (const auto& [script, output, told, trace, calls_made] : cases) {
        SCOPED_TRACE(trace);
        options.command.resize(1);
        if (script == "argument") options.command.emplace_back("-h");
        launch(kThreeChassis + script);
        EXPECT_EQ(tool().wait_exit(), 0);
        EXPECT_EQ(tool().picture(), output + "\n");
        EXPECT_EQ(errors(), told);
        EXPECT_TRUE(traced(trace));
        EXPECT_EQ(joined_calls(), calls_made);
    }
}

TEST_F(StartupTest, WithoutAUsableTerminalOneLineSaysSo) {
    struct Case {
        int redirected;  // 0 standard input, 1 standard output, -1 none
        std::optional<std::string> term;
        const char* word;
    };
    const std::string file = folder() / "redirected";
    std::ofstream{file};
    for (const auto& [redirected, term, word] :
         {Case{0, "xterm", "terminal"}, Case{1, "xterm", "terminal"}, Case{-1, std::nullopt, "TERM"},
          Case{-1, "", "TERM"}, Case{-1, "dumb", "terminal"}, Case{-1, "none", "terminal"}}) {
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
        EXPECT_EQ(joined_calls(), kUpTo41Library + kStatus + kRelease);
    }
    EXPECT_EQ(std::filesystem::file_size(file), 0U);
}

TEST_F(StartupTest, WithoutTheWidgetLibraryTheToolEndsCleanly) {
    std::ofstream(folder() / "libnewt.so.0.52") << std::string(128, 'x');
    options.environment["LD_LIBRARY_PATH"] = folder();
    launch(kThreeChassis);
    EXPECT_EQ(tool().wait_exit(), 0);
    EXPECT_TRUE(traced("1|<Init newtlib failed!return 0."));
    EXPECT_EQ(joined_calls(), kUpTo41Library + kStatus + kRelease);
}

TEST_F(StartupTest, ProbesDecideWhichRowsTheMenuHas) {
    const std::string blade = kThreeChassis + "GetSharedSensorStatus=0\n";
    const std::string unknown = "1|Get version value failed from registry.exit(0)";
    const std::string no_smbios = "1|<zel_smbios_init() failed.return FALSE.";
    // The flags of voltage, temperature and maintenance mode; rows of the menu; a trace line.
    for (const auto& [script, flags, rows, line] :
         {Four{kAgent + "3.8\n" + blade, "111", "13", "3|iBladeFlag = 1."},
          Four{kAgent + "3.8\n" + blade + "hwid.model=680", "111", "7", "3|iBladeFlag = 1."},
          Four{kAgent + "3.8\nhwid.model=681", "111", "12", "3|iBladeFlag = 0."},
          Four{kAgent + "3.9", "000", "9", "0|<RegQueryValueEx CplTabView failed.return 0."},
          Four{kAgent + "4.10\n" + kTabView + "0x40", "010", "10", "0|<return 1.*qudhwidflag=4."},
          Four{kTabView + "0x3F\nhwid.model=679", "000", "9", "1|<GetNum.number==0.return FALSE."},
          Four{blade + "load_libzelsmbios=-1", "000", "9", no_smbios},
          Four{blade + "smbios.initialise=-1", "000", "9", no_smbios},
          Four{blade + "smbios.count=-1", "000", "9", "1|<GET_STRUCTURE_NUMBER Failed!return FALSE."},
          Four{blade + "smbios.structure=0,0,-1", "000", "9",
               "1|<Execute GET_STRUCTURE_TYPE_AND_OFFSET  failed.return FALSE."},
          Four{"call_zel_is_ft=2\n" + kTabView + "0xC0", "110", "11", "3|This is FT server."},
          Four{kAgent + "5.0\n" + kTabView + "0x80", "100", "10", unknown},
          Four{"RegOpenKeyEx=2", "000", "9", unknown}}) {
        SCOPED_TRACE(script);
        open_menu(script);
        EXPECT_TRUE(traced(std::string("0|>iShowVoltFlag=") + flags[0] + ",iShowTempFlag=" + flags[1] +
                           ",iShowMovalFlag=" + flags[2] + ",TABTOTAONUM=" + rows + "."));
        EXPECT_TRUE(traced(line)) << line;
        EXPECT_EQ(std::ranges::count(calls(), "smbios.close()"),
                  traced("3|zel_smbios_init() return 0.") ? 1 : 0);
    }
}

TEST_F(StartupTest, OpensOnTerminalsOfEverySizeKindAndCharacterSet) {
    struct Case {
        int rows;
        int columns;
        const char* term;
        const char* lang;
    };
    const std::string two_cpus = "cpu.settings=10,300,0,1,2,95,90,85,80\nTestInputCpuParameter=0x100\n";
    for (const auto& [rows, columns, term, lang] :
         {Case{24, 80, "xterm", "C"}, Case{10, 40, "xterm-256color", "C.UTF-8"},
          Case{60, 200, "linux", "ja_JP.UTF-8"}, Case{24, 80, "vt100", "ja_JP.eucJP"},
          Case{10, 40, "screen", "ja_JP.UTF-8"}, Case{1, 1, "xterm", "C.UTF-8"},
          Case{24, 80, "tmux-256color", "de_DE.UTF-8"}}) {
        SCOPED_TRACE(std::string(term) + ' ' + lang + ' ' + std::to_string(rows));
        options.rows = rows;
        options.columns = columns;
        options.environment["TERM"] = term;
        options.environment["LANG"] = lang;
        open_menu(two_cpus);
        keys("Down Enter");
        EXPECT_TRUE(rows < 10 || shows("TOTAL")) << tool().picture();
        keys("Tab*8 Enter Enter");  // the message about a value, and away with it
        tool().resize(30, 100);
        keys("Tab*2 Esc");
        tool().send("Ctrl-O");
        EXPECT_EQ(tool().wait_exit(), 0);
        EXPECT_TRUE(tool().terminal_restored());
        EXPECT_EQ(errors(), "");
    }
}

TEST_F(StartupTest, ShutDownReleasesTheLibrariesAndTheTerminal) {
    open_menu(kThreeChassis + kAgent + "3.8");
    EXPECT_FALSE(tool().terminal_restored());
    EXPECT_EQ(joined_calls(), kUpTo38Library + kStatus + "GetQudHwidFor38() ");
    keys("Tab");
    tool().send("Enter");
    EXPECT_EQ(tool().wait_exit(), 0);
    EXPECT_TRUE(tool().terminal_restored());
    EXPECT_EQ(tool().picture(), "\n");
    EXPECT_EQ(joined_calls(), kRelease);
    EXPECT_TRUE(trace().back().starts_with("0|main|") && trace().back().ends_with("|<")) << trace().back();
}

TEST_F(StartupTest, TextsFromOutsideReachTheScreenPlain) {
    struct Case {
        const char* lang;
        std::string title;  // in the catalogue
        std::string shown;
    };
    for (const auto& [lang, title, shown] :
         {Case{"ja_JP.UTF-8", "設定", "設定"}, Case{"ja_JP.UTF-8", "\xC0\xDF\xC4\xEA", "????"},
          Case{"C.UTF-8", "a\u202Eb\u009B\x9B\033[7mc", "a?b???[7mc"}}) {
        SCOPED_TRACE(lang + title);
        options.environment["LANG"] = lang;
        for (const char* file : {"E_ctlpanel.rc", "J_ctlpanel.rc"})
            catalogue(file, "[TITTLE_MAIN_ID]=\"" + title + "\"\n");
        open_menu();
        EXPECT_TRUE(shows(shown)) << tool().picture();
    }
}

TEST_F(StartupTest, LanguageChoosesTheCatalogue) {
    catalogue("E_ctlpanel.rc", "[TITTLE_MAIN_ID]=\"English\"\n");
    catalogue("J_ctlpanel.rc", "[TITTLE_MAIN_ID]=\"日本語\"\n");
    using Language = std::pair<std::optional<std::string>, const char*>;
    for (const auto& [lang, title] :
         {Language{"ja_JP.UTF-8", "日本語"}, Language{"JA_JP.UTF-8", "English"}, Language{"j", "English"},
          Language{std::string(5000, 'x'), "English"}, Language{std::nullopt, "English"}}) {
        options.environment["LANG"] = lang;
        open_menu();
        EXPECT_TRUE(shows(title)) << lang.value_or("(unset)") << tool().picture();
    }
}

}  // namespace
}  // namespace zeltest
