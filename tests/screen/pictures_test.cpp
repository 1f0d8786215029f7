// SPDX-License-Identifier: GPL-3.0-or-later
// Whole pictures: frames and columns stand where wide characters, overlaid dialogs and one column of buttons put
// them.
#include "tool_fixture.h"

namespace zeltest {
namespace {

class PicturesTest : public ToolTest {
  protected:
    /// The picture without its first and last line and the rows that only frame it.
    std::string picture() {
        std::string all;
        for (int row = 1; row < options.rows - 1; ++row) {
            std::string inside = tool().row(row);
            for (std::size_t at = 0; (at = inside.find("│")) != std::string::npos;)
                inside.erase(at, std::string_view("│").size());
            if (inside.find_first_not_of(' ') != std::string::npos) all += "\n" + tool().row(row);
        }
        return all;
    }
};

TEST_F(PicturesTest, WatchdogInJapanese) {
    options.environment["LANG"] = "ja_JP.UTF-8";
    open_menu("wdt=0,60,600,33,7");
    keys("Down*7 Enter");
    EXPECT_EQ(picture(), R"(
                ┌─────────┤ ウォッチドッグタイマー ├──────────┐
                │ [ ] OS のハングアップを監視する             │
                │ タイムアウト時間(秒) 600__                  │
                │ 更新間隔(秒)         60___                  │
                │ タイムアウト時の動作 NMI を発生           ▮ │
                │ タイムアウト後の動作 電源オフ             ▮ │
                │           ┌────┐    ┌────────────┐          │
                │           │ OK │    │ キャンセル │          │
                │           └────┘    └────────────┘          │
                └─────────────────────────────────────────────┘)");
}

TEST_F(PicturesTest, ThresholdsOverDevices) {
    open_panel("STORAGE", "reg SOFTWARE\\QUD\\ZELAgent CurrentVersion=sz:3.8\nstorage=60,2\n");
    press("Thresholds");
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
    open_panel("STORAGE", "");
    EXPECT_EQ(tool().row(10), "                │ St│              │ Reset │               │  │");
}

}  // namespace
}  // namespace zeltest
