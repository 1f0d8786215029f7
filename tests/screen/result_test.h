// SPDX-License-Identifier: GPL-3.0-or-later
// A panel whose buttons are judged by what they bring about: a message, calls, or both.
#pragma once
#include <string>

#include "panel_test.h"

namespace zeltest {

class ResultTest : public PanelTest {
  protected:
    using PanelTest::PanelTest;

    void open(const std::string& script) {
        PanelTest::open(script);
        opening_ = joined_calls();
    }
    /// The calls of the opening, in one line.
    const std::string& opening() const { return opening_; }

    /// Answers the open message: its text, behind the title where it is not the panel's; "" without one.
    std::string message() {
        std::string all = messages();
        if (!all.empty()) all.pop_back();
        return all;
    }

    /// The message that is open and the calls since the last asking, in one line.
    std::string result() {
        const std::string told = message();
        const std::string made = joined_calls();
        return told + (told.empty() || made.empty() ? "" : " ") + made;
    }
    /// The same after a button was pressed.
    std::string result_of(const std::string& button) {
        press(button);
        return result();
    }
    std::string ok() { return result_of("OK"); }

    /// The mark of a check box, by its label; "x" after that of a disabled one.
    std::string box(const std::string& label) {
        constexpr int kDisabledForeground = 8;
        const Cell mark = tool().cell(text(label), -3);
        return mark.text + (mark.foreground == kDisabledForeground ? "x" : "");
    }
    /// The number in an entry, by its label; "x" after that of a disabled one.
    std::string entry(const std::string& label) {
        std::string number = number_behind(text(label));
        number.pop_back();
        return number;
    }

    /// Opens the panel for each of these keys, or Cancel, changes a check box and leaves.
    void expect_to_leave_unwritten(const std::vector<std::string>& leaving, const std::string& script) {
        for (const auto& key : leaving) {
            SCOPED_TRACE(key);
            open(script);
            keys("Space F12");
            EXPECT_TRUE(is_open());
            if (key == "Cancel") {
                press(key);
            } else {
                keys(key);
            }
            EXPECT_FALSE(is_open()) << tool().picture();
            EXPECT_EQ(joined_calls(), "");
        }
    }

  private:
    std::string opening_;
};

}  // namespace zeltest
