// SPDX-License-Identifier: GPL-3.0-or-later
// The file-system panel, on real folders: "/" has a size, "/proc" has none.
#include <sys/vfs.h>

#include <algorithm>

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
const std::string kToFatal = "Tab*5 ";
const std::string kClear = "Home Delete*10 ";

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

    /// The selected mode, if any, and the four entries.
    std::string shown() {
        std::string mode;
        for (const char* label : {"FILE_DISABLE_ID", "FILE_ENABLECP_ID", "FILE_ENABLEBY_ID"})
            if (box(label) == "*") mode = label;
        return mode.substr(0, mode.size() - (mode.empty() ? 0 : 3)) + " " +
               thresholds("FILE_FATAL_ID", "FILE_WARNING_ID");
    }

  private:
    std::uint64_t size_ = size_of_root();
};

TEST_F(FilesystemTest, ShowsTheFirstFileSystem) {
    open(settings(3));
    EXPECT_EQ(opening(), "File_ReadThresholdFromFile() File_ReadThresholdFromFile()");
    for (const auto& [script, list, interval, expected] :
         {Four{"fs.0=4,1,2,3,4,-5,6,7,214748364", "/", "10", "FILE_ENABLEBY -5 6 7 214748364 "},
          Four{"fs.0=2,1,2,3,4", "/", "10", "FILE_DISABLE x x x x "},
          Four{"File_ReadThresholdFromFile=1,0", "none", "10x", "FILE_DISABLE x x x x "}}) {
        SCOPED_TRACE(script);
        open(script);
        EXPECT_EQ(shown(), expected);
        EXPECT_EQ(entry("CPU_SAMPLE_ID"), interval);
        keys(interval == "10" ? "Tab End" : "End");
        EXPECT_TRUE(shows(text("FILE_DEVICE_ID") + list + "  ")) << tool().picture();
        if (list != "none") continue;
        EXPECT_EQ(ok(), told("STORERR_NONESEL_ID"));
        EXPECT_TRUE(is_open());
    }
    expect_no_panel({{"fs.count=3\nfs.path.2=/proc/gone", "Error: FUNC_CALL_ERR statfs",
                      "2|filesystem|FilePanel|<statfs failed."}});
}

TEST_F(FilesystemTest, SwitchingTheModeConvertsWhatIsEntered) {
    const std::string mended = "FILE_ENABLECP 80 79 78 77 ";
    const std::string free =
        "FILE_ENABLEBY " + space(20) + " " + space(15) + " " + space(22) + " " + space(23) + " ";
    open("fs.0=3,95,90,85,80,1,2,3,4");
    expect_steps(
        [this] { return shown(); },
        {Step{"Tab*4 Space",
              "FILE_ENABLEBY " + space(5) + " " + space(10) + " " + space(15) + " " + space(20) + " "},
         // A MiB more than 5 percent leaves 94 in use.
         Step{"Tab " + kClear + space(5, 1) + " S-Tab*2 Space", "FILE_ENABLECP 94 90 85 80 "},
         // Out of order, the percentages are mended from the fatal report on.
         Step{"Tab Space Tab " + kClear + space(20) + " Tab " + kClear + space(15) + " Tab*2 " + kClear +
                  space(10) + " S-Tab*5 Space",
              mended},
         // An empty entry falls back to its percentage, an impossible one to both values as they were.
         Step{"Tab*2 " + kClear + "Tab " + kClear + "101 S-Tab*2 Space", free}, Step{"S-Tab Space", mended},
         // Switched off, what was entered last is given up.
         Step{"Tab*2 " + kClear + "99 S-Tab*3 Space", "FILE_DISABLE 99x 79x 78x 77x "},
         Step{"Tab Space", mended}, Step{"S-Tab Space Tab*2 Space", free}});
    press("OK");
    const auto lines = trace();  // the panel's end comes after all that it frees
    const auto last = std::ranges::find_if(lines.rbegin(), lines.rend(), [](const auto& line) {
        return line.find("|filesystem|") != line.npos;
    });
    EXPECT_EQ(*last, "0|filesystem|FilePanel|<");
    EXPECT_EQ(calls().at(1), "ResetFilesysService(10,0:{4,80,79,78,77," + space(20) + "," + space(15) + "," +
                                 space(22) + "," + space(23) + "})");
}

TEST_F(FilesystemTest, MovingTheListKeepsWhatWasEdited) {
    open(settings(3) + "fs.count=4\nfs.path.1=/proc\nfs.1=4,60,50,40,30\nfs.2=2,9,8,7,6\nfs.3=9,9,8,7,6");
    expect_steps(
        [this] { return shown(); },
        {Step{kToFatal + kClear + "96 Tab*2 " + kClear + "S-Tab*6 Down", "FILE_ENABLEBY 0 0 0 0 "},
         Step{"Down", "FILE_DISABLE 0x 0x 0x 0x "}, Step{"Down", " 0x 0x 0x 0x "},
         Step{"Home", "FILE_ENABLECP 96 90 85 80 "},
         Step{"Down Tab*2 Space", "FILE_ENABLECP 60 50 40 30 "},  // without a size nothing is converted
         Step{"S-Tab*2 Home", "FILE_ENABLECP 96 90 85 80 "}});
    const std::string changes =
        "(10,0:{" + values(3, 96) + "} 1:{3,60,50,40,30,0,0,0,0} 3:{5,9,8,7,6,0,0,0,0})";
    EXPECT_EQ(ok(), "TestInputFilesysParameter" + changes + " ResetFilesysService" + changes +
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
    const std::string bad_value = "FILEERR_FATALB_ID";
    const std::string test = settings(3) + "TestInputFilesysParameter=";
    const std::string proc = "fs.path.0=/proc\nfs.0=4,95,90,85,80";
    expect("", {Try{settings(3), "", closed},
                Try{"fs.0=3,95,90,85,80,0,0,0,0", "", both("10,0:{" + values(3) + "}")},
                Try{settings(3) + "fs.count=1,2", "", both("10,", "1 2")},
                Try{settings(3) + "fs.count=2,1\nfs.1=2", "", both("10,", "2 1")},
                // Switching off alters no threshold, whatever was entered before.
                Try{settings(3), kToFatal + kClear + "96 S-Tab*3 Space", both("10,0:{" + values(2) + "}")},
                Try{settings(3), kToFatal + kClear, "", "INPUT_NULL_ID", false},
                Try{settings(4), kToFatal + "Tab*3 " + kClear, "", "INPUT_NULL_ID", false},
                Try{settings(3), kToFatal + kClear + "101", "", bad_value, false},
                Try{settings(3), kToFatal + kClear + "100", both("10,0:{" + values(3, 100) + "}")},
                Try{settings(4), kToFatal + "Tab*3 " + kClear + space(100, 1), "", bad_value, false},
                Try{proc, "", closed}, Try{proc, kToFatal + "1", "", bad_value, false},
                Try{test + "0x1111", "Backspace", tested,
                    "FILEERR_INTERVAL_ID 1 3600;FILEERR_FATALB_ID;FILEERR_WARNS_ID;FILEERR_ORDER_ID", false},
                Try{test + "0x11111", "Backspace", tested, "Error: Calling TestInputFilesysParameter failed.",
                    false},
                Try{test + "0x2", "Backspace", tested, "", false},
                Try{settings(3) + "ResetFilesysService=-2", "Backspace", tested + " ResetFilesysService(1,)",
                    "STORERR_WRITE_ID", false},
                Try{settings(3) + "ResetFilesysService=-1", "Backspace", both("1,")}});
}

}  // namespace
}  // namespace zeltest
