// SPDX-License-Identifier: GPL-3.0-or-later
// The file-system panel, on real folders: "/" has a size, "/proc" has none.
#include <sys/vfs.h>

#include "panel_test.h"

namespace zeltest {
namespace {

/// One hundredth of the capacity of "/" in MiB.
std::uint64_t size_of_root() {
    struct statfs status {};
    EXPECT_EQ(statfs("/", &status), 0);
    return (static_cast<std::uint64_t>(status.f_blocks) * static_cast<std::uint64_t>(status.f_bsize) >> 20U) /
           100;
}

// Keys from the interval.
const std::string kToList = "Tab ";
const std::string kToOff = "Tab Tab ";
const std::string kToPercent = "Tab Tab Tab ";
const std::string kToSpace = "Tab Tab Tab Tab ";
const std::string kToFatal = "Tab Tab Tab Tab Tab ";
const std::string kClear = "Home Delete Delete Delete Delete Delete Delete Delete Delete Delete Delete ";

class FilesystemTest : public PanelTest {
  protected:
    FilesystemTest() : PanelTest(4, "TITTLE_FILESYS_ID") {}

    /// The free space in MiB that belongs to a number of free percent on "/".
    std::string space(std::uint64_t percent, std::uint64_t more = 0) const {
        return std::to_string(percent * size_ + more);
    }
    /// The values of a record on "/" whose two forms agree.
    std::string values(int mode, int fatal_report = 95) const {
        return std::to_string(mode) + "," + std::to_string(fatal_report) + ",90,85,80," +
               space(static_cast<std::uint64_t>(100 - fatal_report)) + "," + space(10) + "," + space(15) +
               "," + space(20);
    }
    std::string settings(int mode) const { return "fs.0=" + values(mode) + "\n"; }

    /// The selected mode and the four entries: fatal report and reset, warning report and reset.
    std::string shown() {
        std::string all;
        for (const char* label : {"FILE_DISABLE_ID", "FILE_ENABLECP_ID", "FILE_ENABLEBY_ID"})
            if (tool().cell(text(label), -3).text == "*") all += label + std::string(" ");
        for (const char* label : {"FILE_FATAL_ID", "FILE_WARNING_ID"})
            for (const char* heading : {"CPU_REPORT_ID", "CPU_RESET_ID"})
                all += number_at(
                    {tool().find(text(label)).value().row, tool().find(text(heading)).value().column});
        return all;
    }

    struct Step {
        std::string keys;
        std::string shown;
    };
    void expect_steps(std::initializer_list<Step> steps) {
        for (const auto& [typed, expected] : steps) {
            SCOPED_TRACE(typed);
            keys(typed);
            EXPECT_EQ(shown(), expected);
        }
    }

  private:
    std::uint64_t size_ = size_of_root();
};

TEST_F(FilesystemTest, ShowsTheFirstFileSystem) {
    open(settings(3));
    EXPECT_EQ(joined_calls(), "File_ReadThresholdFromFile() File_ReadThresholdFromFile()");
    EXPECT_EQ(picture(), R"(
                   ┌───────────┤ File Systems ├────────────┐
                   │                                       │
                   │    Sampling interval (s) 10_______    │
                   │                                       │
                ┌──│           File system /               │ ─┐
                │  │                                       │  │
                │ G│ ( ) Do not monitor                    │  │
                │ C│ (*) Monitor by space in use (percent) │  │
                │ E│ ( ) Monitor by free space (MiB)       │  │
                │ S│                                       │  │
                │ F│                                       │  │
                │  │             Report      Reset         │  │
                │  │     Fatal   95________  90________    │  │
                │  │     Warning 85________  80________    │  │
                │  │                                       │  │
                │  │         ┌────┐    ┌────────┐          │  │
                │  │         │ OK │    │ Cancel │          │  │
                └──│         └────┘    └────────┘          │ ─┘
                   │                                       │
                   │                                       │
                   └───────────────────────────────────────┘)");
    struct Case {
        std::string script;
        const char* list;  // its last row
        const char* interval;
        std::string shown;
    };
    const std::string empty = "FILE_DISABLE_ID x x x x ";
    for (const auto& [script, list, interval, expected] :
         {Case{"fs.0=4,1,2,3,4,-5,6,7,214748364", "/", "10 ", "FILE_ENABLEBY_ID -5 6 7 214748364 "},
          Case{"fs.0=2,1,2,3,4", "/", "10 ", empty}, Case{"fs.0=1,1,2,3,4", "none", "10x ", empty},
          Case{"fs.0=5,1,2,3,4", "none", "10x ", empty},
          Case{"File_ReadThresholdFromFile=0", "none", "0x ", empty},
          Case{"File_ReadThresholdFromFile=2,1", "none", "0x ", empty},
          Case{"File_ReadThresholdFromFile=1,0", "none", "10x ", empty}}) {
        SCOPED_TRACE(script);
        open(script);
        EXPECT_EQ(shown(), expected);
        EXPECT_EQ(number_behind(text("CPU_SAMPLE_ID")), interval);
        if (*interval == '1' && interval[2] == ' ') keys("Tab");
        keys("End");
        EXPECT_TRUE(shows(text("FILE_DEVICE_ID") + list + "  ")) << tool().picture();
        if (std::string_view(list) != "none") continue;
        calls();
        press("OK");
        EXPECT_EQ(messages(), told("STORERR_NONESEL_ID"));
        EXPECT_TRUE(is_open());
        EXPECT_EQ(joined_calls(), "");
    }
}

TEST_F(FilesystemTest, SwitchingTheModeConvertsWhatIsEntered) {
    const std::string percent = "FILE_ENABLECP_ID ";
    const std::string free = "FILE_ENABLEBY_ID ";
    const std::string off = "FILE_DISABLE_ID ";
    open("fs.0=3,95,90,85,80,1,2,3,4");
    expect_steps({
        {kToSpace + "Space", free + space(5) + " " + space(10) + " " + space(15) + " " + space(20) + " "},
        // A MiB more than 5 percent leaves 94 in use.
        {"Tab " + kClear + space(5, 1) + " S-Tab S-Tab Space", percent + "94 90 85 80 "},
        // Out of order, the percentages are mended from the fatal report on.
        {"Tab Space Tab " + kClear + space(20) + " Tab " + kClear + space(15) + " Tab Tab " + kClear +
             space(10) + " S-Tab S-Tab S-Tab S-Tab S-Tab Space",
         percent + "80 79 78 77 "},
        // An empty entry falls back to its percentage, an impossible one to both values as they were.
        {"Tab Tab " + kClear + "Tab " + kClear + "101 S-Tab S-Tab Space",
         free + space(20) + " " + space(15) + " " + space(22) + " " + space(23) + " "},
        {"S-Tab Space", percent + "80 79 78 77 "},
        // Switched off, what was entered last is given up.
        {"Tab Tab " + kClear + "99 S-Tab S-Tab S-Tab Space", off + "99x 79x 78x 77x "},
        {"Tab Space", percent + "80 79 78 77 "},
        {"S-Tab Space Tab Tab Space",
         free + space(20) + " " + space(15) + " " + space(22) + " " + space(23) + " "},
    });
    calls();
    press("OK");
    EXPECT_EQ(calls().at(1), "ResetFilesysService(10,0:{4,80,79,78,77," + space(20) + "," + space(15) + "," +
                                 space(22) + "," + space(23) + "})");
}

TEST_F(FilesystemTest, MovingTheListKeepsWhatWasEdited) {
    open(settings(3) + "fs.count=4\nfs.path.1=/proc\nfs.1=4,60,50,40,30\nfs.2=2,9,8,7,6\nfs.3=9,9,8,7,6");
    expect_steps({
        {kToFatal + kClear + "96 Tab Tab " + kClear + "S-Tab S-Tab S-Tab S-Tab S-Tab S-Tab Down",
         "FILE_ENABLEBY_ID 0 0 0 0 "},
        {"Down", "FILE_DISABLE_ID 0x 0x 0x 0x "},
        {"Down", "0x 0x 0x 0x "},
        {"Home", "FILE_ENABLECP_ID 96 90 85 80 "},
        {"Down Tab Tab Space", "FILE_ENABLECP_ID 60 50 40 30 "},  // without a size nothing is converted
        {"S-Tab S-Tab Home", "FILE_ENABLECP_ID 96 90 85 80 "},
    });
    calls();
    press("OK");
    const std::string changes =
        "(10,0:{" + values(3, 96) + "} 1:{3,60,50,40,30,0,0,0,0} 3:{5,9,8,7,6,0,0,0,0})";
    EXPECT_EQ(joined_calls(), "TestInputFilesysParameter" + changes + " ResetFilesysService" + changes +
                                  " FreeMemofStruct(4) FreeMemofStruct(4)");
    EXPECT_FALSE(is_open());
}

TEST_F(FilesystemTest, OkChecksInOrderAndWritesChangesOnly) {
    const auto both = [](const std::string& changes, const std::string& lists = "1 1") {
        return "TestInputFilesysParameter(" + changes + ") ResetFilesysService(" + changes +
               ") FreeMemofStruct(" + lists.substr(0, 1) + ") FreeMemofStruct(" + lists.substr(2) + ")";
    };
    const std::string closed = "FreeMemofStruct(1) FreeMemofStruct(1)";
    const std::string tested = "TestInputFilesysParameter(1,)";
    const std::string off = "10,0:{" + values(2) + "}";
    const std::string bad_value = "FILEERR_FATALB_ID";
    expect("", {{settings(3), "", closed},
                {settings(4), "", closed},
                {settings(2), "", closed},
                {"fs.0=3,95,90,85,80,0,0,0,0", "", both("10,0:{" + values(3) + "}")},
                {settings(3), "Backspace", both("1,")},
                {settings(2), "Backspace", both("1,")},
                {settings(3) + "fs.count=1,2", "", both("10,", "1 2")},
                {settings(3) + "fs.count=2,1\nfs.1=2", "", both("10,", "2 1")},
                // Switching off alters no threshold, whatever was entered before.
                {settings(3), kToFatal + kClear + "96 S-Tab S-Tab S-Tab Space", both(off)},
                {settings(3), kToFatal + kClear + "96 S-Tab Space S-Tab S-Tab Space", both(off)},
                {settings(3), kToFatal + kClear, "", "INPUT_NULL_ID", false},
                {settings(4), kToFatal + "Tab Tab Tab " + kClear, "", "INPUT_NULL_ID", false},
                {settings(3), kToFatal + kClear + "101", "", bad_value, false},
                {settings(3), kToFatal + kClear + "-1", "", bad_value, false},
                {settings(3), kToFatal + kClear + "100", both("10,0:{" + values(3, 100) + "}")},
                {settings(4), kToFatal + "Tab Tab Tab " + kClear + space(100, 1), "", bad_value, false},
                {"fs.path.0=/proc\nfs.0=4,95,90,85,80", "", closed},
                {"fs.path.0=/proc\nfs.0=4,95,90,85,80", kToFatal + "1", "", bad_value, false},
                {settings(3) + "TestInputFilesysParameter=0x1", "Backspace", tested,
                 "FILEERR_INTERVAL_ID 1 3600", false},
                {settings(3) + "TestInputFilesysParameter=0x1111", "Backspace", tested,
                 "FILEERR_INTERVAL_ID 1 3600;FILEERR_FATALB_ID;FILEERR_WARNS_ID;FILEERR_ORDER_ID", false},
                {settings(3) + "TestInputFilesysParameter=0x11111", "Backspace", tested,
                 "Error: Calling TestInputFilesysParameter failed.", false},
                {settings(3) + "TestInputFilesysParameter=0x2", "Backspace", tested, "", false},
                {settings(3) + "ResetFilesysService=-2", "Backspace", tested + " ResetFilesysService(1,)",
                 "STORERR_WRITE_ID", false},
                {settings(3) + "ResetFilesysService=-1", "Backspace", both("1,")}});
}

TEST_F(FilesystemTest, OnlyCancelLeavesWithoutOk) {
    open(settings(3));
    calls();
    for (const char* key : {"Ctrl-A", "Ctrl-O", "\x80", "Esc", "F12", "Backspace"}) {
        keys(key);
        EXPECT_TRUE(is_open()) << key;
    }
    press("Cancel");
    EXPECT_FALSE(is_open());
    EXPECT_EQ(joined_calls(), "FreeMemofStruct(1) FreeMemofStruct(1)");
}

TEST_F(FilesystemTest, AFailedSetUpIsToldAndThereIsNoPanel) {
    struct Case {
        std::string script;
        std::string memory;
        const char* call;
        const char* trace;
    };
    options.preload.emplace_back(SHORT_MEMORY_LIBRARY);
    for (const auto& [script, memory, call, line] :
         {Case{"", "5168:1", "malloc", "2|<malloc() failed."},
          Case{"", "5168:2", "malloc", "2|<malloc() failed."},
          Case{"", "4112:1", "malloc", "2|<malloc() failed."},
          Case{"fs.count=3", "4112:3", "malloc", "2|<malloc failed."},
          Case{"fs.path.0=/proc/gone", "0:0", "statfs", "2|<statfs failed."},
          Case{"fs.count=3\nfs.path.2=/proc/gone", "0:0", "statfs", "2|<statfs failed."}}) {
        SCOPED_TRACE(script + ", " + memory);
        options.environment["SHORT_MEMORY"] = memory;
        open(script);
        EXPECT_EQ(messages(), "Error: " + told("FUNC_CALL_ERR " + std::string(call)));
        EXPECT_TRUE(traced(line));
        EXPECT_FALSE(is_open());
        keys("Down");
        EXPECT_EQ(highlighted(), text("MAIN_TABNAME_LAN_ID"));
    }
}

TEST_F(FilesystemTest, AnyPathIsShownByItsEnd) {
    std::string longest = folder();
    while (longest.size() < 4095 - 220)
        longest += "/" + std::string(199, 'd');
    longest += "/" + std::string(4095 - longest.size() - 1 - 3, 'e') + "END";
    std::string kanji;
    for (int i = 0; i < 30; ++i)
        kanji += "漢";
    struct Case {
        std::string path;
        std::string row;
    };
    for (const auto& [path, row] :
         {Case{longest, "..." + std::string(50, 'e') + "END"},
          Case{folder() / kanji, "..." + kanji.substr(4 * 3)},
          Case{folder() / "%s\033[2J\tx\x7f\xff", (folder() / "%s?[2J?x??").string()}}) {
        SCOPED_TRACE(row);
        std::filesystem::create_directories(path);
        open("fs.count=2\nfs.path.1=" + path);
        keys(kToList + "Down");
        EXPECT_EQ(highlighted(), row);
        EXPECT_EQ(tool().picture().find("\033"), std::string::npos);
        press("Cancel");
        EXPECT_FALSE(is_open()) << tool().picture();
    }
}

TEST_F(FilesystemTest, AThousandFileSystemsAreListed) {
    std::string script = "fs.count=1000\n";
    for (int i = 0; i < 1000; ++i)
        script += "fs." + std::to_string(i) + "=" + values(3) + "\n";
    open(script);
    keys(kToList + "End Tab Tab Tab Tab " + kClear + "96");
    calls();
    press("OK");
    EXPECT_EQ(calls().at(1), "ResetFilesysService(10,999:{" + values(3, 96) + "})");
    EXPECT_FALSE(is_open());
}

}  // namespace
}  // namespace zeltest
