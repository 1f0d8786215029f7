// SPDX-License-Identifier: GPL-3.0-or-later
// One panel of the tool: whether it is open, what its entries hold and what messages it shows.
#pragma once
#include "tool_fixture.h"

namespace zeltest {

class PanelTest : public ToolTest {
  protected:
    PanelTest(int row, const char* title) : row_(row), title_(text(title)) {}

    /// A button pressed after keys typed into the panel.
    struct Press {
        std::string script;
        std::string keys;
        std::string calls;          ///< what it asked of the agent
        std::string messages = "";  ///< in short, as for told()
        bool closes = true;
        std::string trace = "";
        std::string button = "OK";
    };
    void expect(const std::string& settings, std::initializer_list<Press> presses) {
        for (const auto& each : presses) {
            SCOPED_TRACE(each.script + ", " + each.keys + ", " + each.button);
            open(settings + each.script);
            keys(each.keys);
            calls();
            press(each.button);
            EXPECT_EQ(messages(), told(each.messages));
            EXPECT_EQ(joined_calls(), each.calls);
            EXPECT_EQ(is_open(), !each.closes) << tool().picture();
            EXPECT_TRUE(each.trace.empty() || traced(each.trace));
        }
    }

    void expect_leaving_writes_nothing(const std::string& settings, const std::string& typed,
                                       std::initializer_list<const char*> leaving) {
        for (const char* key : leaving) {
            SCOPED_TRACE(key);
            open(settings);
            calls();
            keys(typed + " F12");
            EXPECT_TRUE(is_open());
            leave_by(key);
            EXPECT_FALSE(is_open()) << tool().picture();
            EXPECT_EQ(joined_calls(), "");
        }
    }
    /// A key, or the button Cancel.
    void leave_by(std::string_view key) { key == "Cancel" ? press(key) : keys(key); }

    /// The picture without the lines at the top and bottom and the empty ones beside them.
    std::string picture() {
        std::string all;
        for (int row = 1; row < options.rows - 1; ++row)
            if (!tool().row(row).empty()) all += "\n" + tool().row(row);
        return all;
    }

    void open(std::string_view script) { open_panel(row_, script); }
    bool is_open() const { return shows("┤ " + title_ + " ├"); }

    /// The agent's calls since the last asking, in one line.
    std::string joined_calls() {
        std::string all;
        for (const auto& call : calls())
            all += (all.empty() ? "" : " ") + call;
        return all;
    }

    /// Answers message after message. Their texts, one a line, behind the title where it is not the panel's.
    std::string messages() {
        std::string all;
        for (auto ok = tool().find("│  ok  │"); ok; ok = tool().find("│  ok  │")) {
            const std::string title = between(ok->row - 5, ok->column + 3, "┤", "├");
            all +=
                (title == title_ ? "" : title + ": ") + between(ok->row - 3, ok->column + 3, "│", "│") + "\n";
            keys("Enter");
        }
        return all;
    }

    /// What messages() gives for "IDENTIFIER ARGUMENT ARGUMENT;Another text".
    std::string told(std::string_view list) const {
        std::string all;
        for (std::size_t end = 0; !list.empty(); list.remove_prefix(std::min(end + 1, list.size()))) {
            end = std::min(list.find(';'), list.size());
            all += told_one(list.substr(0, end)) + "\n";
        }
        return all;
    }

    /// The number that an entry shows from that cell on, after blanks; "x" behind a disabled one.
    std::string number_at(Position at) {
        constexpr int kDisabledForeground = 8;
        while (tool().cell(at).text == " ")
            ++at.column;
        std::string number;
        const bool disabled = tool().cell(at).foreground == kDisabledForeground;
        for (; std::string_view("-0123456789").find(tool().cell(at).text) != std::string_view::npos;
             ++at.column)
            number += tool().cell(at).text;
        return number + (disabled ? "x " : " ");
    }
    /// The same for the entry behind a label.
    std::string number_behind(const std::string& label) {
        Position at = tool().find(label).value();
        at.column += static_cast<int>(label.size());
        return number_at(at);
    }

  private:
    std::string between(int row, int column, std::string_view left, std::string_view right) {
        while (column > 0 && tool().cell({row, column - 1}).text != left)
            --column;
        std::string all;
        for (; column < options.columns && tool().cell({row, column}).text != right; ++column)
            all += tool().cell({row, column}).text;
        all.erase(all.find_last_not_of(' ') + 1);
        return all.substr(std::min(all.find_first_not_of(' '), all.size()));
    }

    std::string told_one(std::string_view message) const {
        const auto blank = std::min(message.find(' '), message.size());
        if (message.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ_") < blank) return std::string(message);
        std::string all = text(message.substr(0, blank));
        message.remove_prefix(blank);
        while (!message.empty()) {
            message.remove_prefix(1);
            const auto end = std::min(message.find(' '), message.size());
            all.replace(all.find('%'), 2, message.substr(0, end));
            message.remove_prefix(end);
        }
        return all;
    }

    int row_;
    std::string title_;
};

}  // namespace zeltest
