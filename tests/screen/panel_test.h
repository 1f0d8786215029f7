// SPDX-License-Identifier: GPL-3.0-or-later
// One panel of the tool: what it shows, and what its buttons bring about: messages, calls, the panel's end.
#pragma once
#include "tool_fixture.h"

namespace zeltest {

class PanelTest : public ToolTest {
  protected:
    PanelTest(int row, const char* title) : row_(row), title_(text(title)) {}

    /// Opens the panel; opening() are the calls of that.
    void open(const std::string& script) {
        open_panel(row_, script);
        opening_ = joined_calls();
    }
    const std::string& opening() const { return opening_; }
    bool is_open() const { return shows("┤ " + title_ + " ├"); }

    /// A button pressed after keys typed into the panel.
    struct Try {
        std::string script;
        std::string keys;
        std::string calls;          ///< what it asked of the agent
        std::string messages = "";  ///< in short, as for told()
        bool closes = true;
        std::string trace = "";
        std::string button = "OK";  ///< "": the keys press it
    };
    void expect(const std::string& settings, std::initializer_list<Try> tries) {
        for (const auto& each : tries) {
            SCOPED_TRACE(each.script + ", " + each.keys + ", " + each.button);
            open(settings + each.script);
            keys(each.keys);
            EXPECT_EQ(result_of(each.button), joined(told(each.messages), each.calls));
            EXPECT_EQ(is_open(), !each.closes) << tool().picture();
            EXPECT_TRUE(each.trace.empty() || traced(each.trace)) << each.trace;
        }
    }

    /// A server on which the panel gives a message instead of opening.
    struct Refusal {
        std::string script;
        std::string message;
        std::string trace;
    };
    void expect_no_panel(std::initializer_list<Refusal> refusals) {
        for (const auto& [script, message, line] : refusals) {
            SCOPED_TRACE(script + ", " + message);
            open(script);
            EXPECT_EQ(messages(), told(message));
            EXPECT_TRUE(traced(line)) << line;
            EXPECT_FALSE(is_open());
        }
    }

    /// The messages, each answered, then the calls since the last asking.
    std::string result_of(const std::string& button) {
        if (!button.empty()) press(button);
        const std::string all = messages();
        return joined(all, joined_calls());
    }
    std::string ok() { return result_of("OK"); }

    std::string joined_calls() {
        std::string all;
        for (const auto& call : calls())
            all = joined(all, call);
        return all;
    }

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

    /// Answers message after message. Their texts, behind the title where it is not the panel's.
    std::string messages() {
        std::string all;
        for (auto ok = tool().find("│  ok  │"); ok; ok = tool().find("│  ok  │")) {
            const std::string title = between(ok->row - 5, ok->column + 3, "┤", "├");
            const std::string told = between(ok->row - 3, ok->column + 3, "│", "│");
            all = joined(all, title == title_ ? told : title + ": " + told);
            keys("Enter");
        }
        return all;
    }

    /// What messages() gives for "IDENTIFIER ARGUMENT ARGUMENT;Title: IDENTIFIER;Another text".
    std::string told(std::string_view list) const {
        std::string all;
        for (std::size_t end = 0; !list.empty(); list.remove_prefix(std::min(end + 1, list.size()))) {
            end = std::min(list.find(';'), list.size());
            all = joined(all, told_one(list.substr(0, end)));
        }
        return all;
    }

    /// The mark of a check box or radio button, by its label's identifier; "x" behind that of a disabled one.
    std::string box(const std::string& label) {
        const Cell mark = tool().cell(text(label), -3);
        return mark.text + (mark.foreground == kDisabledForeground ? "x" : "");
    }
    /// The number that an entry shows from that cell on, after blanks; "x" behind a disabled one.
    std::string number_at(Position at) {
        while (tool().cell(at).text == " ")
            ++at.column;
        const bool disabled = tool().cell(at).foreground == kDisabledForeground;
        std::string number;
        for (; std::string_view("-0123456789").find(tool().cell(at).text) != std::string_view::npos;
             ++at.column)
            number += tool().cell(at).text;
        return number + (disabled ? "x" : "");
    }
    /// The same for the entry behind a label.
    std::string entry(const std::string& label) {
        Position at = tool().find(text(label)).value();
        at.column += static_cast<int>(text(label).size());
        return number_at(at);
    }
    /// The four entries of report and reset thresholds, fatal before warning.
    std::string thresholds(const char* fatal, const char* warning) {
        std::string all;
        for (const char* label : {fatal, warning})
            for (const char* heading : {"CPU_REPORT_ID", "CPU_RESET_ID"})
                all += number_at({tool().find(text(label)).value().row,
                                  tool().find(text(heading)).value().column}) +
                       " ";
        return all;
    }

    struct Step {
        std::string keys;
        std::string shown;
    };
    template <class Shown>
    void expect_steps(Shown shown, std::initializer_list<Step> steps) {
        for (const auto& [typed, expected] : steps) {
            SCOPED_TRACE(typed);
            keys(typed);
            EXPECT_EQ(shown(), expected);
        }
    }

  private:
    static constexpr int kDisabledForeground = 8;

    static std::string joined(const std::string& left, const std::string& right) {
        return left + (left.empty() || right.empty() ? "" : " ") + right;
    }

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
        if (message.substr(0, blank).ends_with(':'))
            return std::string(message.substr(0, blank + 1)) + told_one(message.substr(blank + 1));
        if (message.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ_") < blank) return std::string(message);
        std::string all = text(message.substr(0, blank));
        for (message.remove_prefix(blank); !message.empty();) {
            message.remove_prefix(1);
            const auto end = std::min(message.find(' '), message.size());
            all.replace(all.find('%'), 2, message.substr(0, end));
            message.remove_prefix(end);
        }
        return all;
    }

    int row_;
    std::string title_;
    std::string opening_;
};

}  // namespace zeltest
