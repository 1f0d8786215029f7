// SPDX-License-Identifier: GPL-3.0-or-later
// What no panel uses yet or no screen shows: the wrapped dialogs, the range rule, the keys of a number.
#include <gtest/gtest.h>

#include "../../src/common/dialog.h"
#include "../../src/common/msgwindow.h"
#include "../../src/common/widgets.h"
#include "newt_doubles.h"

namespace zel::test {
namespace {

TEST(WrappedDialogs, HaveRowsForTheirText) {
    const std::pair<std::size_t, int> cases[] = {{0, 1}, {59, 1}, {60, 2}, {120, 3}};
    for (const auto& [length, rows] : cases) {
        NewtDoubles screen;
        screen.answers = {[&] { return screen.find("button", " ok "); }};
        const std::string text(length, 'x');
        msgWindowEx("Title", " ok ", text.c_str());
        EXPECT_EQ(screen.find("textbox", text)->height, rows) << length << " characters";
    }
    NewtDoubles screen;
    newtComponent button = screen.make("button", "yes");
    screen.answers = {[] { return nullptr; }, [&] { return button; }};
    EXPECT_EQ(SelectFromButtonsEx("Title", "A question", &button, 1), nullptr);
    EXPECT_EQ(screen.find("textbox", "A question")->height, 3);
    EXPECT_EQ(SelectFromButtonsEx("Title", nullptr, &button, 1), button);
    EXPECT_NE(screen.find("label", "  "), nullptr);
}

TEST(CheckCallbacks, DisableExactlyTheirRangeWhileTheMarkIsBlank) {
    NewtDoubles screen;
    newtComponent all[4];
    for (newtComponent& component : all)
        component = screen.make("entry", "");
    const std::pair<CheckRecord*, newtCallback> kinds[] = {{&CheckStruct, CheckButtonFunc},
                                                           {&CheckboxStruct, CheckBoxFunc}};
    for (const auto& [record, callback] : kinds) {
        char mark = ' ';
        *record = {all, 1, 2, &mark};
        for (const char now : {' ', 'x'}) {  // anything but a blank counts as set
            mark = now;
            callback(nullptr, nullptr);
            EXPECT_FALSE(all[0]->disabled || all[3]->disabled);
            EXPECT_TRUE(all[1]->disabled == (now == ' ') && all[2]->disabled == (now == ' '));
        }
    }
}

TEST(EntryNumricFilter, TakesDigitsASignInFrontAndTheEditingKeys) {
    for (int key = 1; key < 0x8100; ++key) {
        const bool taken = (key >= '0' && key <= '9') || (key >= 0x8001 && key <= 0x8009 && key != 0x8003);
        EXPECT_EQ(EntryNumricFilter(nullptr, nullptr, key, 0), taken || key == '-' ? key : 0);
        EXPECT_EQ(EntryNumricFilter(nullptr, nullptr, key, 3), taken ? key : 0);
    }
}

}  // namespace
}  // namespace zel::test
