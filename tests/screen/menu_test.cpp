// SPDX-License-Identifier: GPL-3.0-or-later
// What is no sequence of keys: colours, a new size, a stop, how the tool ends.
#include <csignal>

#include "tool_fixture.h"

namespace zeltest {
namespace {

const std::string kTwoCpus = "cpu.settings=10,300,0,1,2,95,90,85,80\n";
using MenuTest = ToolTest;

TEST_F(MenuTest, TheCpuPanelHasListColoursOfItsOwn) {
    // COLORFGBG is what some terminals tell about themselves; it must not change a colour.
    options.environment["COLORFGBG"] = "15;0";
    open_panel("CPU", kTwoCpus);
    const auto colours_of = [this](const std::string& where) {
        return std::pair(tool().cell(where).foreground, tool().cell(where).background);
    };
    EXPECT_EQ(colours_of("10"), std::pair(7, 1));         // current row, focus
    EXPECT_EQ(colours_of("5 minutes"), std::pair(7, 4));  // current row, no focus
    keys("Ctrl-O Tab");
    EXPECT_EQ(colours_of(text("MAIN_TABNAME_CPU_ID")), std::pair(0, 3));
    EXPECT_EQ(colours_of(text("MAIN_TABNAME_SYSLOG_ID")), std::pair(15, 4));
    EXPECT_EQ(colours_of(text("BUTTON_CLOSE_ID")), std::pair(0, 3));
    EXPECT_EQ(colours_of(text("TITTLE_MAIN_ID")), std::pair(11, 4));
}

TEST_F(MenuTest, CloseAndEscLeave) {
    for (const std::string key : {"Esc", "Enter"}) {
        open_menu();
        keys("Tab");
        tool().send(key);
        EXPECT_EQ(tool().wait_exit(), 0);
        EXPECT_TRUE(tool().terminal_restored());
    }
}

TEST_F(MenuTest, ThePictureIsWholeAgainAfterANewSizeAndAStop) {
    for (const char* term : {"xterm-256color", "screen-256color", "linux"}) {
        SCOPED_TRACE(term);
        options.environment["TERM"] = term;
        open_menu(kTwoCpus + "TestInputCpuParameter=0x100");
        const std::string menu = tool().picture();
        keys("Down Enter");
        const std::string panel = tool().picture();
        const std::string help_line = tool().row(23);
        tool().resize(50, 140);
        keys("Tab*2 Tab*2 S-Tab*4");
        EXPECT_EQ(tool().row(49), help_line) << tool().picture();
        EXPECT_EQ(tool().row(23), "") << tool().picture();
        press("OK");
        const auto message = tool().find(text("CPUERR_ORDER_ID"));
        ASSERT_TRUE(message) << tool().picture();
        EXPECT_NEAR(message->row, 25, 3);  // in the middle of the new size
        tool().resize(12, 44);
        keys("Tab");
        EXPECT_EQ(tool().row(11).substr(0, 9), help_line.substr(0, 9)) << tool().picture();
        tool().resize(24, 80);
        keys("Enter");  // the message goes
        keys("S-Tab*9");
        EXPECT_EQ(tool().picture(), panel);

        tool().signal(SIGTSTP);
        ASSERT_TRUE(tool().wait_stop());
        EXPECT_TRUE(tool().terminal_restored());
        tool().signal(SIGCONT);
        ASSERT_TRUE(tool().wait_screen());
        ASSERT_TRUE(tool().settle());  // a key typed before the picture is back is thrown away
        keys("Tab S-Tab");
        EXPECT_EQ(tool().picture(), panel);
        keys("Esc");
        EXPECT_EQ(tool().picture(), menu);
    }
}

TEST_F(MenuTest, EndsWithTheTerminalRestoredFromAnyDepth) {
    constexpr int kHangUp = 0;
    constexpr int kEndOfInput = -1;  // the terminal goes without a signal
    for (const bool nested : {false, true}) {
        for (const int how : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, kHangUp, kEndOfInput}) {
            SCOPED_TRACE(std::to_string(how) + (nested ? ", in a message of a panel" : ""));
            options.controlling = how != kEndOfInput;
            open_menu(kTwoCpus + "TestInputCpuParameter=0x100");
            if (nested) {
                keys("Down Enter");
                press("OK");
                ASSERT_TRUE(shows(text("CPUERR_ORDER_ID"))) << tool().picture();
            }
            how > 0 ? tool().signal(how) : tool().hang_up();
            EXPECT_EQ(tool().wait_exit(), 0);
            EXPECT_TRUE(how <= 0 || tool().terminal_restored());
            EXPECT_LT(tool().cpu_seconds(), 2);
        }
    }
    options.controlling = true;
    open_menu(kTwoCpus + "GetCpuDataFromRegistry.waits=60");  // a library that does not come back
    keys("Ctrl-C Down");
    calls();
    tool().send("Enter");
    while (calls().empty())
        usleep(10'000);
    tool().send("Ctrl-C");
    EXPECT_EQ(tool().wait_exit(), 0);
    EXPECT_TRUE(tool().terminal_restored());
}

TEST_F(MenuTest, WhatNoPanelUsesWorksToo) {
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
