// SPDX-License-Identifier: GPL-3.0-or-later
// The tool on terminals, in languages and with libraries of every kind.
#include <fstream>

#include "tool_fixture.h"

namespace zeltest {
namespace {

using StartupTest = ToolTest;

TEST_F(StartupTest, WithoutTheWidgetLibraryTheToolEndsCleanly) {
    std::ofstream(folder() / "libnewt.so.0.52") << std::string(128, 'x');
    options.environment["LD_LIBRARY_PATH"] = folder();
    launch();
    EXPECT_EQ(tool().wait_exit(), 0);
    EXPECT_TRUE(traced("1|<Init newtlib failed!return 0."));
    EXPECT_EQ(calls().back(), "destroy_libzelsmbios()");
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

TEST_F(StartupTest, WhatNoPanelUsesWorksToo) {
    options.command = {UNCALLED_PROGRAM};
    for (const auto& [script, model] : {std::pair{"hwid.model=590", "1"},
                                        {"hwid.model=606", "2"},
                                        {"hwid.model=1", "0"},
                                        {"GetHWIDFromProc=0", "-1"}}) {
        open_menu(script);
        for (const int rows : {1, 2, 3}) {  // 59, 60 and 120 characters
            const auto message = tool().find("xxx");
            ASSERT_TRUE(message && tool().find(" ok ")) << tool().picture();
            EXPECT_EQ(tool().find(" ok ")->row - message->row, rows + 2) << tool().picture();
            keys("Enter");
        }
        EXPECT_TRUE(shows("Which one of the two?")) << tool().picture();
        keys("Tab Enter Enter");
        keys("Tab Space Tab Space Tab Space");  // while the first box is off, Tab finds no other
        keys("Tab Space Tab Space Ctrl-O");
        EXPECT_TRUE(shows("model " + std::string(model) + " two one marks ***")) << tool().picture();
        tool().send("Enter");
        EXPECT_EQ(tool().wait_exit(), 0);
    }
}

}  // namespace
}  // namespace zeltest
