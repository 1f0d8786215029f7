// SPDX-License-Identifier: GPL-3.0-or-later
// The main menu: its rows on every kind of server, what they open, its colours, and how the tool ends.
#include <csignal>
#include <map>
#include <sstream>

#include "tool_fixture.h"

namespace zeltest {
namespace {

constexpr const char* kUnsupported = "Not Supported yet!";
const std::string kTwoCpus = "cpu.settings=10,300,0,1,2,95,90,85,80\n";
const std::string kAgent = "reg SOFTWARE\\QUD\\ZELAgent CurrentVersion=sz:";
const std::string kTabs = "reg SOFTWARE/QUD/ZELAgent/CPL CplTabView=dword:";
const std::string kBlade = "\nsmbios.chassis=FE\nGetSharedSensorStatus=0\n";

// Panels by the middle part of their label's identifier.
const std::map<std::string, std::string> kPanels = {
    {"GENERAL", "GeneralPanel"}, {"CPU", "CpuPanel"},           {"SYSLOG", "SyslogPanel"},
    {"STORAGE", "StoragePanel"}, {"FILESYS", "FilePanel"},      {"LAN", "LanPanel"},
    {"MYLEX", "MylexPanel"},     {"MOVAL", "MOVALPanel_IPMI"},  {"TEMP", "TemperaturePanel_IPMI"},
    {"VOL", "VoltagePanel"},     {"WDT", "WDTPanel"},           {"SHUTDOWN", "ShutdownPanel"},
    {"BLADE", "BladePanel"},     {"unsupported", kUnsupported}, {"nothing", ""}};

class MenuTest : public ToolTest {
  protected:
    /// The panel function that Enter on the current row called, the message of a row without one, or nothing.
    std::string opened_by_enter() {
        const auto before = trace().size();
        keys("Enter");
        if (shows(kUnsupported)) return kUnsupported;
        const Lines all = trace();
        for (auto i = before; i < all.size(); ++i)
            for (const auto& [key, function] : kPanels)
                if (all[i].find("|" + function + "|>") != std::string::npos) return function;
        return "";
    }
};

TEST_F(MenuTest, EveryKindOfServerHasItsRowsAndEachOpensItsPanel) {
    const std::string fault_tolerant = "\ncall_zel_is_ft=1";
    const std::string first = "GENERAL CPU SYSLOG ";
    const std::string stock = first + "STORAGE FILESYS LAN MYLEX ";
    // label:panel, or what both have in common; "-" is a blank label
    const std::pair<std::string, std::string> kinds[] = {
        {kAgent + "3.8" + kBlade, stock + "MOVAL TEMP VOL WDT SHUTDOWN BLADE"},
        {kAgent + "3.8\nhwid.model=679", first + "TEMP VOL WDT SHUTDOWN"},
        {kAgent + "4.0", stock + "WDT SHUTDOWN"},
        {kAgent + "4.0\n" + kTabs + "0x80" + kBlade, stock + "VOL WDT SHUTDOWN BLADE"},
        {kTabs + "0xC0" + kBlade + "GetSharedSensorStatus=-1", stock + "TEMP VOL WDT SHUTDOWN"},
        // On a fault-tolerant server labels and panels part from row 5 on.
        {kTabs + "0xC0" + fault_tolerant,
         first + "FILESYS LAN -:TEMP -:VOL TEMP:WDT VOL:SHUTDOWN WDT:unsupported SHUTDOWN:unsupported"},
        {kAgent + "4.0" + fault_tolerant + kBlade,
         first + "FILESYS LAN -:WDT -:SHUTDOWN WDT:nothing SHUTDOWN:nothing BLADE:unsupported"}};
    for (const auto& [script, rows] : kinds) {
        std::istringstream each(rows);
        std::string down;
        for (std::string cell; each >> cell; down += "Down ") {
            SCOPED_TRACE(script + ", " + cell);
            const std::string label = cell.substr(0, cell.find(':'));
            const std::string& panel = kPanels.at(cell.substr(cell.find(':') + 1));
            open_menu(script);
            keys(down + (each.eof() ? "Down" : ""));  // there is no further row
            EXPECT_EQ(highlighted(), label == "-" ? "" : text("MAIN_TABNAME_" + label + "_ID"));
            EXPECT_EQ(opened_by_enter(), panel) << tool().picture();
            if (panel == kUnsupported) {
                EXPECT_TRUE(shows("┤ Warning ├") && shows(" Return ")) << tool().picture();
            }
        }
    }
}

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

TEST_F(MenuTest, OnlyCloseAndHotKeysLeave) {
    for (const std::string key : {"Ctrl-O", "Esc", "Enter"}) {
        open_menu();
        keys("Down*2 Tab S-Tab Ctrl-C Ctrl-L q");
        EXPECT_EQ(highlighted(), text("MAIN_TABNAME_SYSLOG_ID"));
        keys("Ctrl-A");  // the list's Home key
        EXPECT_EQ(highlighted(), text("MAIN_TABNAME_GENERAL_ID"));
        if (key == "Enter") keys("Tab");
        tool().send(key);
        EXPECT_EQ(tool().wait_exit(), 0);
        EXPECT_TRUE(tool().terminal_restored());
    }
    open_menu(kTwoCpus);
    for (const char* to_f12 : {"Down F12", "Ctrl-O Tab F12"}) {  // wherever the focus is
        keys(to_f12);
        EXPECT_TRUE(shows("TOTAL")) << tool().picture();
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

}  // namespace
}  // namespace zeltest
