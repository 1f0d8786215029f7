// SPDX-License-Identifier: GPL-3.0-or-later
// The main menu: its rows on every kind of server, what they open, its colours, and how the tool ends.
#include <csignal>
#include <map>
#include <sstream>

#include "tool_fixture.h"

namespace zeltest {
namespace {

constexpr int kCpuRow = 1;
constexpr const char* kUnsupported = "Not Supported yet!";
const std::string kTwoCpus = "cpu.settings=10,300,0,1,2,95,90,85,80\n";

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
    const std::string agent = "reg SOFTWARE\\QUD\\ZELAgent CurrentVersion=sz:";
    const std::string tabs = "reg SOFTWARE/QUD/ZELAgent/CPL CplTabView=dword:";
    const std::string blade = "\nsmbios.chassis=FE\nGetSharedSensorStatus=0\n";
    const std::string fault_tolerant = "\ncall_zel_is_ft=1";
    struct Kind {
        std::string script;
        std::string rows;  // label:panel, or what both have in common; "-" is a blank label
    };
    const std::string first = "GENERAL CPU SYSLOG ";
    const std::string stock = first + "STORAGE FILESYS LAN MYLEX ";
    const Kind kinds[] = {
        {agent + "3.8", stock + "MOVAL TEMP VOL WDT SHUTDOWN"},
        {agent + "3.8" + blade, stock + "MOVAL TEMP VOL WDT SHUTDOWN BLADE"},
        {agent + "3.8\nhwid.model=679", first + "TEMP VOL WDT SHUTDOWN"},
        {agent + "4.0", stock + "WDT SHUTDOWN"},
        {agent + "4.0\n" + tabs + "0x80" + blade, stock + "VOL WDT SHUTDOWN BLADE"},
        {tabs + "0xC0" + blade + "GetSharedSensorStatus=-1", stock + "TEMP VOL WDT SHUTDOWN"},
        // On a fault-tolerant server labels and panels part from row 5 on.
        {tabs + "0xC0" + fault_tolerant,
         first + "FILESYS LAN -:TEMP -:VOL TEMP:WDT VOL:SHUTDOWN WDT:unsupported SHUTDOWN:unsupported"},
        {agent + "4.0" + fault_tolerant + blade,
         first + "FILESYS LAN -:WDT -:SHUTDOWN WDT:nothing SHUTDOWN:nothing BLADE:unsupported"},
    };
    for (const auto& [script, rows] : kinds) {
        std::istringstream each(rows);
        int row = 0;
        for (std::string cell; each >> cell; ++row) {
            SCOPED_TRACE(script + ", row " + std::to_string(row));
            const std::string label = cell.substr(0, cell.find(':'));
            const std::string panel = cell.substr(cell.find(':') + 1);
            open_menu(script);
            for (int i = 0; i < row; ++i)
                keys("Down");
            if (each.eof()) keys("Down");  // there is no further row
            const std::string shown = highlighted();
            EXPECT_EQ(shown, label == "-" ? "" : text("MAIN_TABNAME_" + label + "_ID"));
            const std::string opened = opened_by_enter();
            EXPECT_EQ(opened, kPanels.at(panel)) << tool().picture();
            if (opened == kUnsupported) {
                EXPECT_TRUE(shows("┤ Warning ├") && shows(" Return ")) << tool().picture();
                keys("Ctrl-O");
                EXPECT_TRUE(shows("Warning"));
                keys("F12 Enter");
                EXPECT_FALSE(shows("Warning"));
                EXPECT_EQ(highlighted(), shown);
            }
        }
    }
}

TEST_F(MenuTest, TheCpuPanelHasListColoursOfItsOwn) {
    // COLORFGBG is what some terminals tell about themselves; it must not change a colour.
    for (const char* colours : {"", "15;0"}) {
        options.environment["COLORFGBG"] = colours;
        open_panel(kCpuRow, kTwoCpus);
        const auto expect_colours = [this](const std::string& where, int foreground, int background) {
            EXPECT_EQ(tool().cell(where).foreground, foreground) << where;
            EXPECT_EQ(tool().cell(where).background, background) << where;
        };
        expect_colours("10", 7, 1);         // current row, focus
        expect_colours("5 minutes", 7, 4);  // current row, no focus
        keys("Ctrl-O");
        expect_colours(text("MAIN_TABNAME_CPU_ID"), 7, 1);
        keys("Tab");
        expect_colours(text("MAIN_TABNAME_CPU_ID"), 0, 3);
        expect_colours(text("MAIN_TABNAME_SYSLOG_ID"), 15, 4);
        expect_colours(text("BUTTON_CLOSE_ID"), 0, 3);
        expect_colours(text("TITTLE_MAIN_ID"), 11, 4);
    }
}

TEST_F(MenuTest, OnlyCloseAndHotKeysLeave) {
    for (const char* key : {"Ctrl-O", "Esc", "Enter"}) {
        SCOPED_TRACE(key);
        open_menu();
        keys("Down Down Tab S-Tab Ctrl-C Ctrl-L q");
        EXPECT_EQ(highlighted(), text("MAIN_TABNAME_SYSLOG_ID"));
        keys("Ctrl-A");  // the list's Home key
        EXPECT_EQ(highlighted(), text("MAIN_TABNAME_GENERAL_ID"));
        if (key == std::string_view("Enter")) keys("Tab");
        tool().send(key);
        EXPECT_EQ(tool().wait_exit(), 0);
        EXPECT_TRUE(tool().terminal_restored());
    }
}

TEST_F(MenuTest, F12OpensTheCurrentRowWhereverTheFocusIs) {
    open_menu(kTwoCpus);
    for (const char* to_f12 : {"Down F12", "Ctrl-O Tab F12"}) {
        keys(to_f12);
        EXPECT_TRUE(shows("TOTAL")) << tool().picture();
    }
}

TEST_F(MenuTest, TextsOfTheCatalogueAreShownAsTheyFit) {
    std::string wide;
    for (int i = 0; i < 30; ++i)
        wide += "漢";
    catalogue("E_ctlpanel.rc",
              "; comment\n[MAIN_ROOTTEXT_ID]=\"Load 100%% %s%n\"\n[MAIN_HELPLINE_ID]=\"Press F1\"\n"
              "[MAIN_TABNAME_GENERAL_ID]=\"" +
                  std::string(60, 'x') + "\"\n[MAIN_TABNAME_CPU_ID]=\"" + wide +
                  "\"\n[MAIN_TABNAME_SYSLOG_ID]=\"\"\n");
    open_menu();
    EXPECT_EQ(tool().row(0), "Load 100% %s%n");
    EXPECT_EQ(tool().row(options.rows - 1), "Press F1");
    EXPECT_TRUE(shows("┤ No Such Name ├"));
    for (const std::string& row :
         {std::string(40, 'x'), wide.substr(0, wide.size() * 2 / 3), std::string("No Such Name")}) {
        EXPECT_EQ(highlighted(), row);
        keys("Down");
    }
}

TEST_F(MenuTest, JapaneseRowsLineUp) {
    options.environment["LANG"] = "ja_JP.UTF-8";
    open_menu("reg SOFTWARE\\QUD\\ZELAgent CurrentVersion=sz:3.8");
    ASSERT_TRUE(shows("┤ " + text("TITTLE_MAIN_ID", "J_ctlpanel.rc") + " ├")) << tool().picture();
    Position right = tool().find("┐").value();
    for (++right.row; tool().cell(right).text != "┘"; ++right.row)
        ASSERT_EQ(tool().cell(right).text, "│") << tool().picture();
    for (const char* id : {"GENERAL", "CPU", "SYSLOG", "STORAGE", "FILESYS", "LAN", "MYLEX", "MOVAL"}) {
        int columns = 0;
        EXPECT_EQ(highlighted(&columns), text("MAIN_TABNAME_" + std::string(id) + "_ID", "J_ctlpanel.rc"));
        EXPECT_EQ(columns, 40);
        keys("Down");
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
            if (how > 0) {
                tool().signal(how);
            } else {
                tool().hang_up();
            }
            EXPECT_EQ(tool().wait_exit(), 0);
            EXPECT_TRUE(how <= 0 || tool().terminal_restored());
            EXPECT_LT(tool().cpu_seconds(), 2);
        }
    }
}

TEST_F(MenuTest, DialogsStayInSightInAnEnlargedTerminal) {
    open_menu(kTwoCpus);
    tool().resize(60, 200);
    keys("Down Ctrl-L Enter");
    EXPECT_TRUE(shows("TOTAL")) << tool().picture();
    tool().resize(5, 20);
    keys("Ctrl-O Enter Ctrl-O");
}

}  // namespace
}  // namespace zeltest
