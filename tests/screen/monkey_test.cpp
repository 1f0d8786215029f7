// SPDX-License-Identifier: GPL-3.0-or-later
// Random keys at random sizes, through every panel. ZEL_STEPS says how many, ZEL_SEED which.
#include <cstdlib>
#include <random>

#include "tool_fixture.h"

namespace zeltest {
namespace {

unsigned setting(const char* name, unsigned otherwise) {
    const char* told = std::getenv(name);
    return told != nullptr ? static_cast<unsigned>(std::strtoul(told, nullptr, 10)) : otherwise;
}

using MonkeyTest = ToolTest;

TEST_F(MonkeyTest, NeitherKeysNorSizesBreakTheTool) {
    const std::vector<std::string> some = {"Tab",   "Tab",    "S-Tab",  "Up",        "Down",  "Down", "Enter",
                                           "Enter", "Space",  "Home",   "End",       "F12",   "9",    "-",
                                           "度",    "Ctrl-O", "Ctrl-L", "Backspace", "Delete"};
    std::mt19937 random(setting("ZEL_SEED", 1));
    const auto below = [&random](unsigned limit) { return random() % limit; };
    // Agent 3.8 has all panels; blade and maintenance mode are there.
    const std::string server =
        "reg SOFTWARE\\QUD\\ZELAgent CurrentVersion=sz:3.8\nsmbios.chassis=FE\nGetSharedSensorStatus=0\n"
        "cpu.settings=10,300,0,1,2,95,90,85,80\nTestInputCpuParameter=0,0x100\nWriteThreshold=-1,0\n";
    open_menu(server);
    for (unsigned step = setting("ZEL_STEPS", 400); step > 0; --step) {
        if (below(8) == 0) {
            const bool usual = below(2) == 0;
            tool().resize(usual ? 24 : 1 + static_cast<int>(below(50)),
                          usual ? 80 : 1 + static_cast<int>(below(160)));
        }
        tool().send(some[below(static_cast<unsigned>(some.size()))]);
        const bool waits = static_cast<bool>(tool().settle());
        if (!waits) {
            ASSERT_EQ(tool().wait_exit(), 0) << step << errors() << tool().picture();
            open_menu(server);
        }
    }
    EXPECT_EQ(errors(), "");
}

}  // namespace
}  // namespace zeltest
