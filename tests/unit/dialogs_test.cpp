// SPDX-License-Identifier: GPL-3.0-or-later
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "../../src/common/dialog.h"
#include "../../src/common/msgwindow.h"
#include "../../src/common/widgets.h"
#include "newt_doubles.h"

namespace zel::test {
namespace {

using testing::ElementsAre;

TEST(MsgWindow, IsLaidOutAndReturnsOnlyOnItsButton) {
    NewtDoubles screen;
    screen.answers = {[] { return nullptr; }, [&] { return screen.find("form", "form"); },
                      [&] { return screen.find("button", " ok "); }};
    msgWindow("Error", " ok ", "It failed.");
    EXPECT_THAT(screen.calls,
                ElementsAre("grid 1x1", "cell 0,0 label It failed. ^", "grid 1x1", "cell 0,0 button  ok  ^",
                            "grid 1x2", "cell 0,0 grid ^", "cell 0,1 grid top=1 ^", "add It failed.",
                            "add  ok ", "window Error", "hotkey 1", "hotkey 15", "run: hot key", "run: form",
                            "run:  ok ", "pop", "destroy"));
}

TEST(MsgWindowEx, HasARowForEverySixtyCharactersBegun) {
    const std::pair<std::size_t, int> cases[] = {{0, 1}, {59, 1}, {60, 2}, {119, 2}, {120, 3}};
    for (const auto& [length, rows] : cases) {
        NewtDoubles screen;
        screen.answers = {[&] { return screen.find("button", " ok "); }};
        const std::string text(length, 'x');
        msgWindowEx("Title", " ok ", text.c_str());
        newtComponent box = screen.find("textbox", text);
        ASSERT_NE(box, nullptr);
        EXPECT_EQ(box->width, 60);
        EXPECT_EQ(box->height, rows) << length << " characters";
    }
}

TEST(SelectFromButtons, RunsOnceAndGivesWhatEndedIt) {
    struct Case {
        const char* title;
        const char* text;
        const char* seen_title;
        const char* seen_text;
        int answer;  // the button, or -1 for a hot key
    };
    for (const Case& c : {Case{"Reboot", "Now?", "window Reboot", "cell 0,0 label Now? <", 1},
                          Case{nullptr, nullptr, "window  ", "cell 0,0 label    <", -1}}) {
        NewtDoubles screen;
        newtComponent buttons[] = {screen.make("button", "yes"), screen.make("button", "no")};
        newtComponent wanted = c.answer >= 0 ? buttons[c.answer] : nullptr;
        screen.answers = {[=] { return wanted; }};
        EXPECT_EQ(SelectFromButtons(c.title, c.text, buttons, 2), wanted);
        ASSERT_GT(screen.calls.size(), 4U);
        EXPECT_EQ(screen.calls[0], "grid 2x2");
        EXPECT_EQ(screen.calls[1], c.seen_text);
        EXPECT_THAT(screen.calls,
                    testing::IsSupersetOf({"cell 0,1 button yes top=1 <", "cell 1,1 button no top=1 <",
                                           c.seen_title, "hotkey 15", "pop", "destroy"}));
        EXPECT_THAT(screen.calls, testing::Not(testing::Contains("hotkey 1")));
    }
}

TEST(SelectFromButtonsEx, WrapsAGivenTextInThreeRows) {
    NewtDoubles screen;
    newtComponent buttons[] = {screen.make("button", "yes")};
    screen.answers = {[&] { return buttons[0]; }, [&] { return buttons[0]; }};
    SelectFromButtonsEx("Title", "A question", buttons, 1);
    newtComponent box = screen.find("textbox", "A question");
    ASSERT_NE(box, nullptr);
    EXPECT_EQ(std::pair(box->width, box->height), std::pair(60, 3));
    SelectFromButtonsEx("Title", nullptr, buttons, 1);
    EXPECT_NE(screen.find("label", "  "), nullptr);
}

TEST(CheckCallbacks, DisableExactlyTheirRangeWhileTheMarkIsBlank) {
    NewtDoubles screen;
    newtComponent components[4];
    for (newtComponent& component : components)
        component = screen.make("entry", "");
    char mark = ' ';
    const auto states = [&] {
        std::string s;
        for (newtComponent component : components)
            s += component->disabled ? 'd' : 'e';
        return s;
    };
    const std::pair<CheckRecord*, newtCallback> kinds[] = {{&CheckStruct, CheckButtonFunc},
                                                           {&CheckboxStruct, CheckBoxFunc}};
    for (const auto& [record, callback] : kinds) {
        *record = {components, 1, 2, &mark};
        mark = ' ';
        callback(nullptr, nullptr);
        EXPECT_EQ(states(), "edde");
        mark = 'x';  // anything but a blank counts as set
        callback(nullptr, nullptr);
        EXPECT_EQ(states(), "eeee");
        *record = {components, 2, 1, &mark};
        mark = ' ';
        callback(nullptr, nullptr);
        EXPECT_EQ(states(), "eeee");
    }
}

TEST(EntryNumricFilter, TakesDigitsASignInFrontAndTheEditingKeys) {
    const auto accepts = [](int key, int cursor) {
        return EntryNumricFilter(nullptr, nullptr, key, cursor) == key;
    };
    for (int key = 1; key < 0x8100; ++key) {
        const bool digit = key >= '0' && key <= '9';
        const bool editing = key >= 0x8001 && key <= 0x8009 && key != 0x8003;
        EXPECT_EQ(accepts(key, 0), digit || editing || key == '-') << key;
        EXPECT_EQ(accepts(key, 3), digit || editing) << key;
    }
}

TEST(Dialog, FreesWhatNeverJoinedTheFormAndSurvivesNeverBeingOpened) {
    NewtDoubles screen;
    {
        Dialog dialog;
        newtComponent blank = dialog.label(" ");
        dialog.grid(1, 1, {{0, 0, dialog.grid(1, 1, {{0, 0, blank}})}});
    }
    EXPECT_TRUE(screen.find("label", " ")->destroyed);
    EXPECT_THAT(screen.calls, testing::Not(testing::Contains("pop")));
}

}  // namespace
}  // namespace zel::test
