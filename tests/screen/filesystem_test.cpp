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
    EXPECT_EQ(picture(), R"(
                   ┌───────────┤ File Systems ├────────────┐
                   │    Sampling interval (s) 10_______    │
                ┌──│           File system /               │ ─┐
                │ G│ ( ) Do not monitor                    │  │
                │ C│ (*) Monitor by space in use (percent) │  │
                │ E│ ( ) Monitor by free space (MiB)       │  │
                │ S│                                       │  │
                │ F│                                       │  │
                │  │             Report      Reset         │  │
                │  │     Fatal   95________  90________    │  │
                │  │     Warning 85________  80________    │  │
                │  │         ┌────┐    ┌────────┐          │  │
                │  │         │ OK │    │ Cancel │          │  │
                └──│         └────┘    └────────┘          │ ─┘
                   └───────────────────────────────────────┘)");
    for (const auto& [script, list, interval, expected] :
         {std::array<std::string, 4>{"fs.0=4,1,2,3,4,-5,6,7,214748364", "/", "10",
                                     "FILE_ENABLEBY -5 6 7 214748364 "},
          {"fs.0=2,1,2,3,4", "/", "10", "FILE_DISABLE x x x x "},
          {"fs.0=5,1,2,3,4", "none", "10x", "FILE_DISABLE x x x x "},
          {"File_ReadThresholdFromFile=2,1", "none", "0x", "FILE_DISABLE x x x x "},
          {"File_ReadThresholdFromFile=1,0", "none", "10x", "FILE_DISABLE x x x x "}}) {
        SCOPED_TRACE(script);
        open(script);
        EXPECT_EQ(shown(), expected);
        EXPECT_EQ(entry("CPU_SAMPLE_ID"), interval);
        EXPECT_TRUE(shows(text("FILE_DEVICE_ID") + list + "  ")) << tool().picture();
        if (list != "none") continue;
        EXPECT_EQ(ok(), told("STORERR_NONESEL_ID"));
        EXPECT_TRUE(is_open());
    }
    expect_no_panel(
        {{"fs.count=3\nfs.path.2=/proc/gone", "Error: FUNC_CALL_ERR statfs", "2|<statfs failed."}});
}

TEST_F(FilesystemTest, SwitchingTheModeConvertsWhatIsEntered) {
    const std::string mended = "FILE_ENABLECP 80 79 78 77 ";
    const std::string free =
        "FILE_ENABLEBY " + space(20) + " " + space(15) + " " + space(22) + " " + space(23) + " ";
    open("fs.0=3,95,90,85,80,1,2,3,4");
    expect_steps(
        [this] { return shown(); },
        {{"Tab Tab Tab Tab Space",
          "FILE_ENABLEBY " + space(5) + " " + space(10) + " " + space(15) + " " + space(20) + " "},
         // A MiB more than 5 percent leaves 94 in use.
         {"Tab " + kClear + space(5, 1) + " S-Tab S-Tab Space", "FILE_ENABLECP 94 90 85 80 "},
         // Out of order, the percentages are mended from the fatal report on.
         {"Tab Space Tab " + kClear + space(20) + " Tab " + kClear + space(15) + " Tab Tab " + kClear +
              space(10) + " S-Tab S-Tab S-Tab S-Tab S-Tab Space",
          mended},
         // An empty entry falls back to its percentage, an impossible one to both values as they were.
         {"Tab Tab " + kClear + "Tab " + kClear + "101 S-Tab S-Tab Space", free},
         {"S-Tab Space", mended},
         // Switched off, what was entered last is given up.
         {"Tab Tab " + kClear + "99 S-Tab S-Tab S-Tab Space", "FILE_DISABLE 99x 79x 78x 77x "},
         {"Tab Space", mended},
         {"S-Tab Space Tab Tab Space", free}});
    press("OK");
    EXPECT_EQ(calls().at(1), "ResetFilesysService(10,0:{4,80,79,78,77," + space(20) + "," + space(15) + "," +
                                 space(22) + "," + space(23) + "})");
}

TEST_F(FilesystemTest, MovingTheListKeepsWhatWasEdited) {
    open(settings(3) + "fs.count=4\nfs.path.1=/proc\nfs.1=4,60,50,40,30\nfs.2=2,9,8,7,6\nfs.3=9,9,8,7,6");
    expect_steps(
        [this] { return shown(); },
        {{kToFatal + kClear + "96 Tab Tab " + kClear + "S-Tab S-Tab S-Tab S-Tab S-Tab S-Tab Down",
          "FILE_ENABLEBY 0 0 0 0 "},
         {"Down", "FILE_DISABLE 0x 0x 0x 0x "},
         {"Down", " 0x 0x 0x 0x "},
         {"Home", "FILE_ENABLECP 96 90 85 80 "},
         {"Down Tab Tab Space", "FILE_ENABLECP 60 50 40 30 "},  // without a size nothing is converted
         {"S-Tab S-Tab Home", "FILE_ENABLECP 96 90 85 80 "}});
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
    expect(
        "",
        {{settings(3), "", closed},
         {settings(4), "", closed},
         {"fs.0=3,95,90,85,80,0,0,0,0", "", both("10,0:{" + values(3) + "}")},
         {settings(2), "Backspace", both("1,")},
         {settings(3) + "fs.count=1,2", "", both("10,", "1 2")},
         {settings(3) + "fs.count=2,1\nfs.1=2", "", both("10,", "2 1")},
         // Switching off alters no threshold, whatever was entered before.
         {settings(3), kToFatal + kClear + "96 S-Tab S-Tab S-Tab Space", both("10,0:{" + values(2) + "}")},
         {settings(3), kToFatal + kClear, "", "INPUT_NULL_ID", false},
         {settings(4), kToFatal + "Tab Tab Tab " + kClear, "", "INPUT_NULL_ID", false},
         {settings(3), kToFatal + kClear + "101", "", bad_value, false},
         {settings(3), kToFatal + kClear + "-1", "", bad_value, false},
         {settings(3), kToFatal + kClear + "100", both("10,0:{" + values(3, 100) + "}")},
         {settings(4), kToFatal + "Tab Tab Tab " + kClear + space(100, 1), "", bad_value, false},
         {proc, "", closed},
         {proc, kToFatal + "1", "", bad_value, false},
         {test + "0x1111", "Backspace", tested,
          "FILEERR_INTERVAL_ID 1 3600;FILEERR_FATALB_ID;FILEERR_WARNS_ID;FILEERR_ORDER_ID", false},
         {test + "0x11111", "Backspace", tested, "Error: Calling TestInputFilesysParameter failed.", false},
         {test + "0x2", "Backspace", tested, "", false},
         {settings(3) + "ResetFilesysService=-2", "Backspace", tested + " ResetFilesysService(1,)",
          "STORERR_WRITE_ID", false},
         {settings(3) + "ResetFilesysService=-1", "Backspace", both("1,")}});
}

TEST_F(FilesystemTest, AnyPathIsShownByItsEnd) {
    std::string longest = folder();
    while (longest.size() < 4095 - 220)
        longest += "/" + std::string(199, 'd');
    longest += "/" + std::string(4095 - longest.size() - 1 - 3, 'e') + "END";
    std::string kanji;
    for (int i = 0; i < 30; ++i)
        kanji += "漢";
    for (const auto& [path, row] :
         {std::pair{longest, "..." + std::string(50, 'e') + "END"},
          {(folder() / kanji).string(), "..." + kanji.substr(4 * 3)},
          {(folder() / "%s\033[2J\tx\x7f\xff").string(), (folder() / "%s?[2J?x??").string()}}) {
        std::filesystem::create_directories(path);
        open("fs.count=2\nfs.path.1=" + path);
        keys("Tab Down");
        EXPECT_EQ(highlighted(), row);
    }
}

}  // namespace
}  // namespace zeltest
