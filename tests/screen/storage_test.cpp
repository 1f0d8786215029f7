// SPDX-License-Identifier: GPL-3.0-or-later
// The storage panel and its sub-panel of thresholds.
#include "panel_test.h"

namespace zeltest {
namespace {

// Agent 3.8 is the one whose devices have thresholds and defaults to edit.
const std::string kWithThresholds = "reg SOFTWARE\\QUD\\ZELAgent CurrentVersion=sz:3.8\n";
// disk1's four kinds of errors: fatal, warning, state.
const std::string kTwoDisks = kWithThresholds + "storage=60,2\nstorage.1=40,30,1,41,31,1,42,32,2,43,33,1\n";

class StorageTest : public PanelTest {
  protected:
    StorageTest() : PanelTest(3, "TITTLE_STORAGE_ID") {}

    void open_sub_panel(const std::string& script, std::string_view keys_before = "") {
        open(script);
        keys(keys_before);
        press("Thresholds");
        ASSERT_TRUE(sub_panel_is_open()) << tool().picture();
    }
    bool sub_panel_is_open() const { return shows(text("STOGSUB_THRESHOLD1_ID") + " ├"); }

    /// The kind's mark and its two entries.
    std::string shown() {
        return box("STOGSUB_ENABLE_ID") + " " + entry("FILE_FATAL_ID") + " " + entry("FILE_WARNING_ID");
    }

    /// Presses OK until the panel is closed, and gives what that asked of the agent.
    std::string written() {
        press("OK");
        if (sub_panel_is_open()) press("Cancel");
        if (is_open()) press("OK");
        EXPECT_FALSE(is_open()) << tool().picture();
        return joined_calls();
    }
};

TEST_F(StorageTest, ShowsWhatTheVersionCanDo) {
    open_sub_panel(kTwoDisks);
    EXPECT_EQ(opening(), "ReadThresholdFromFile()");
    EXPECT_TRUE(traced("3|storage|StoragePanel|ReadThresholdFromFile() return 1.") && traced("0|>zelver=1"));
    EXPECT_EQ(picture(), R"(
                  ┌───────────┤ Storage Devices ├───────────┐
                ┌────────────┤ disk0 Thresholds ├─────────────┐
                │ Kind of error                     ┌────┐    │
                │ Recoverable errors                │ OK │    │
                │ Non-recoverable errors            └────┘    │
                │ Media errors                                │
                │ Hardware errors                 ┌────────┐  │
                │                                 │ Cancel │  │
                │   [*] Enable monitoring         └────────┘  │
                │       Fatal      100_                       │
                │       Warning    50__                       │
                └─────────────────────────────────────────────┘)");
    open("");
    EXPECT_EQ(tool().row(10), "                │ St│              │ Reset │               │  │");
}

TEST_F(StorageTest, OkChecksTheIntervalAndWritesChangesOnly) {
    const std::string range = "STORERR_INTERVAL_ID 1 3600";
    const std::string empty = "Backspace*2 ";
    const std::string changed = "WriteThreshold(6,1,)";
    expect("", {Try{"", "", ""}, Try{"", empty + "0", "", range, false},
                Try{"", empty + "1", "WriteThreshold(1,1,)"},
                Try{"", empty + "3600", "WriteThreshold(3600,1,)", "", true,
                    "3|storage|StoragePanel|WriteThreshold() return 0."},
                Try{"WriteThreshold=-3", "Backspace", changed},
                Try{"WriteThreshold=-1", "Backspace", changed, "STORERR_DAEMON_ID", false,
                    "1|storage|StoragePanel|The agent service cannot be reached. Check that it is running."},
                Try{"WriteThreshold=-2,0", "Backspace", changed, "STORERR_WRITE_ID", false,
                    "1|The settings could not be written."}});
    press("Cancel");
    keys("Enter");  // the panel again: reads again, and once changed every later OK writes
    EXPECT_EQ(ok(), "ReadThresholdFromFile() WriteThreshold(60,1,)");
    EXPECT_FALSE(is_open());
}

TEST_F(StorageTest, ButtonsActOnTheSelectedDeviceAtOnce) {
    const std::string typed = "Backspace Tab Down S-Tab";  // the interval counts on OK only
    const std::string reset = "ResetStorageService(2)";
    const std::string defaults = "SetDefaultStorageService(60,2,,1)";
    const std::string none = "STORERR_NONESEL_ID";
    const std::string empty = "ReadThresholdFromFile=0";
    expect(
        kTwoDisks,
        {Try{"", typed, reset, "", false, "3|storage|StoragePanel|ResetStorageService() return 0.", "Reset"},
         Try{"ResetStorageService=-2", typed, reset, "STORERR_WRITE_ID", false, "", "Reset"},
         Try{"SetDefaultStorageService=-1", typed, defaults, "STORERR_DAEMON_ID", false, "", "Default"},
         Try{empty, typed, "", none, false, "", "Thresholds"},
         Try{empty, typed, "", none, false, "", "Default"},
         Try{empty, typed, "", none, false, "1|" + text(none)},
         Try{"storage.name.0=none", typed, "", none, false}});
}

TEST_F(StorageTest, LeavingTheSubPanelGivesUpWhatWasEntered) {
    for (const std::string key : {"Ctrl-O", "Cancel"}) {
        open_sub_panel(kTwoDisks, "Tab Down");
        keys("End Tab*2 1 F12 Ctrl-A");  // neither F12 nor Home leaves
        EXPECT_TRUE(sub_panel_is_open());
        key == "Cancel" ? press(key) : keys(key);
        EXPECT_TRUE(!sub_panel_is_open() && is_open()) << tool().picture();
        press("Thresholds");
        keys("End");
        EXPECT_EQ(shown(), "* 43 33");
    }
}

TEST_F(StorageTest, MovingTheListKeepsWhatWasEdited) {
    open_sub_panel(kTwoDisks, "Tab Down");
    expect_steps(
        [this] { return shown(); },
        {Step{"", "* 40 30"}, Step{"Down", "* 41 31"}, Step{"Down", "  42x 32x"},
         Step{"Home Tab*2 9 Tab Delete 5", "* 940 50"}, Step{"S-Tab*3 Down Up", "* 940 50"},
         // An empty warning alone is given its saved value back; an empty fatal gives both back.
         Step{"Tab*3 Delete*2 S-Tab*3 Down Up", "* 940 30"},
         Step{"Tab*2 Delete*3 Tab Delete 7 S-Tab*3 Down Up", "* 40 30"},
         // Switched off, the entries count no more; switched on again they do.
         Step{"Tab*2 1 S-Tab Space", "  140x 30x"}, Step{"S-Tab Down Up", "  40x 30x"},
         Step{"Tab Space Tab 8 S-Tab*2 End", "* 43 33"}, Step{"Up Tab Space Tab 2 S-Tab*2 Down", "* 43 33"},
         Step{"Tab Space S-Tab Home", "* 840 30"}});
    EXPECT_EQ(ok(), "");
    EXPECT_EQ(written(), "WriteThreshold(60,2,1:disk1{840,30,1,41,31,1,242,32,1,43,33,2})");
    EXPECT_TRUE(traced("0|<storage 1's threshold have be changed.return 1"));
}

TEST_F(StorageTest, SubPanelTakesThresholdsInOrderOnly) {
    const std::string order = "TEMPERR_THRESHOLD_ID 1 3600";
    const std::string number = "You must input a number!";
    const std::string to_fatal = "Tab*2 Backspace*3 ";
    const std::string to_warning = "Tab*3 Backspace*2 ";
    const std::string bad_media = "storage.0=100,50,1,100,50,1,7,7,2,100,50,1";
    const std::string unchanged = "WriteThreshold(60,1,)";
    const auto changed = [](const std::string& values) {
        return "WriteThreshold(60,1,0:disk0{" + values + "})";
    };
    // Written by the panel's OK, after OK, or else Cancel, in the sub-panel.
    for (const auto& [script, typed, message, expected] :
         {Four{"", "", "", ""}, Four{"", to_fatal + "51", "", changed("51,50,1,100,50,1,100,50,1,100,50,1")},
          Four{"", to_fatal + "1 Tab Backspace*2 0", "", changed("1,0,1,100,50,1,100,50,1,100,50,1")},
          // Refused, and yet it counts as a change from then on.
          Four{"", to_fatal + "50", order, unchanged},
          Four{"", to_fatal + "0 Tab Backspace*2 0", order, unchanged},
          Four{"", to_fatal + "9 S-Tab*2 End", order, unchanged},  // a kind that is not shown
          Four{bad_media, "", order, ""},                          // even one that is switched off
          Four{"", to_fatal, number, ""},
          // Switched off with an empty entry: nothing to complain of, the saved thresholds stay.
          Four{"", to_fatal + "S-Tab Space", "", changed("100,50,2,100,50,1,100,50,1,100,50,1")}}) {
        SCOPED_TRACE(script + ", " + typed);
        open_sub_panel(kWithThresholds + script);
        keys(typed);
        EXPECT_EQ(ok(), told(message));
        EXPECT_EQ(sub_panel_is_open(), !message.empty()) << tool().picture();
        if (sub_panel_is_open()) press("Cancel");
        EXPECT_EQ(written(), expected);
    }
}

TEST_F(StorageTest, TheTableHas1024Devices) {
    open(kWithThresholds + "storage=60,2147483647\nstorage.1023=9,8,2,9,8,1,9,8,1,9,8,1");
    keys("Tab End");
    EXPECT_EQ(highlighted(), "disk1023");
    EXPECT_EQ(result_of("Reset"), "ResetStorageService(1024)");
    press("Thresholds");
    EXPECT_EQ(shown(), "  9x 8x");
    keys("Tab Space");
    EXPECT_EQ(written(), "WriteThreshold(60,1024,1023:disk1023{9,8,1,9,8,1,9,8,1,9,8,1})");
    open(kWithThresholds + "storage.name.0=nineteen 漢 \033 characters and more!!!");
    EXPECT_TRUE(shows("  nineteen 漢 ? chara  ")) << tool().picture();
}

}  // namespace
}  // namespace zeltest
