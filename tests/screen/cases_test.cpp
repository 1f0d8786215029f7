// SPDX-License-Identifier: GPL-3.0-or-later
// The panels, a case a line in the files of cases/. Fields stand between " | ".
//
//   panel CPU             whose cases these are; its row in the menu is that of MAIN_TABNAME_CPU_ID. MAIN: the menu
//   $name TEXT            an abbreviation; "$name THIS // THAT" has the file run twice, once with each
//   script LINE; LINE     what the agent's script begins with from here on
//   text ID=TEXT          a text of the catalogue, from here on; "empty FILE" empties a catalogue
//   env NAME=VALUE        of the tool, from here on; without "=" it has no such variable
//   argument TEXT         of the tool, from here on; so is "redirect 1", of its standard output to a file
//   size ROWS COLUMNS     of the terminal, from here on
//   rows LABEL:PANEL ...  the menu of the script has these rows and no other, and each opens its panel, found by its
//                         title: of the same name unless told, or as it stands; "-" is a blank label
//   picture               the screen is the indented lines, but for its first and last line and what only frames
//   look MARKS            what "?" reads from here on, by the identifiers of labels: [BOX] ENTRY ROW/COLUMN
//   SCRIPT | KEYS | ...   a case: further lines of the script ("-": none), keys typed into the opened panel, and
//                         what comes of it. [Cancel] among the keys presses that button, [] none; without either
//                         OK is pressed at the end, unless the line only looks. 30x100 gives the terminal so many
//                         rows and columns.
//   | KEYS | ...          goes on where the line before ended
//
// What comes of it, and nothing else may; the panel closes unless the line looks or says "open":
//   CALL(1) CALL(2)       what the agent was asked; "..." in front or behind: and more
//   ! ID ARGUMENT         a message, answered; another title than the panel's in front: "! Error: TEXT"
//   ~ LEVEL|TEXT          was traced, "..." behind: and more; !~ was not; ~. was traced last
//   ^ CALLS               what opening the panel asked
//   ? * 95 90x .          what the looks read: "." is blank, "x" behind what is disabled
//   > ROW                 the highlighted row
//   says TEXT             the tool that ended leaves this on the terminal (says2: on standard error)
//   ends                  Ctrl-O then ends the tool, with nothing to complain of
//   = TEXT                is on the screen, frames and line ends being blanks; != is not
//
// In all of this @ID is a text of the catalogue, {x*99} a repetition and \x1b a byte.
#include <cstdio>
#include <fstream>
#include <set>

#include "case_text.h"
#include "tool_fixture.h"

namespace zeltest {
namespace {

class Cases : public ToolTest, public testing::WithParamInterface<std::string> {
  protected:
    /// Runs the file with the first or the second of double abbreviations; whether there are such.
    bool run(std::size_t variant) {
        catalogue("E_ctlpanel.rc", contents(std::filesystem::path(TOOL_DATA) / "E_ctlpanel.rc"));
        std::ifstream file(GetParam());
        std::string line;
        bool twice = false;
        for (line_ = 1; std::getline(file, line); ++line_) {
            if (line.empty() || line.starts_with('#')) continue;
            const bool is_case = (line + " ").find(" | ") != std::string::npos;
            line = expanded(line, is_case);
            const auto blank = std::min(line.find(' '), line.size());
            const std::string word = line.substr(0, blank);
            const std::string rest = trimmed(line.substr(blank));
            if (is_case)
                take(split(" " + line + " ", " | "));
            else if (word.starts_with('$')) {
                const Lines both = split(rest, " // ");
                twice = twice || both.size() > 1;
                names_[word] = both.at(std::min(variant, both.size() - 1));
            } else if (word == "panel")
                panel_ = rest;
            else if (word == "script")
                script_ = rest;
            else if (word == "look")
                looks_ = split(rest, " ");
            else if (word == "env")
                set_environment(rest);
            else if (word == "argument")
                options.command = {options.command[0], rest};
            else if (word == "redirect")
                redirect(rest);
            else if (word == "empty")
                catalogue(rest.c_str(), "");
            else if (word == "text")
                add_text(rest);
            else if (word == "size")
                std::istringstream(rest) >> options.rows >> options.columns;
            else if (word == "rows")
                open_rows(split(rest, " "));
            else if (word == "picture")
                expect_same("picture", indented(file), framed());
            else
                complain("what is " + word + '?');
        }
        return twice;
    }

  private:
    void complain(const std::string& what) {
        ADD_FAILURE_AT(GetParam().c_str(), line_) << what << "\n" << (panel_.empty() ? "" : tool().picture());
    }
    void expect_same(const std::string& what, const std::string& expected, const std::string& actual) {
        if (!fits(expected, actual)) complain(what + "\n  expected: " + expected + "\n  actual:   " + actual);
    }

    std::string expanded(std::string line, bool is_case) {
        const std::string defined = !is_case && line.starts_with('$') ? line.substr(0, line.find(' ')) : "";
        line.erase(0, defined.size());
        replace(line, R"(\$[a-z0-9]+)", [&](const std::string& name) {
            const auto known = names_.find(name);
            if (known == names_.end()) complain("what is " + name + '?');
            return known == names_.end() ? name : known->second;
        });
        replace(line, R"(@[A-Z0-9_]+)", [this](const std::string& id) { return text(id.substr(1)); });
        expand(line);
        return defined + line;
    }

    void set_environment(const std::string& setting) {
        const auto equals = setting.find('=');
        auto& value = options.environment[setting.substr(0, equals)];
        value = equals < setting.size() ? std::optional(setting.substr(equals + 1)) : std::nullopt;
        if (value == "$ZelDir/data") value = folder() / "data";
    }
    void redirect(const std::string& number) {
        options.redirect[0] = options.redirect[1] = "";
        std::ofstream(folder() / "redirected").close();
        if (!number.empty()) options.redirect.at(std::stoul(number)) = folder() / "redirected";
    }

    void add_text(const std::string& line) {
        const auto equals = line.find('=');
        catalogue("E_ctlpanel.rc", "\n[" + line.substr(0, equals) + "]=\"" + line.substr(equals + 1) +
                                       "\"\n" + contents(folder() / "data" / "E_ctlpanel.rc"));
    }

    void take(const Lines& fields) try {
        if (!fields.at(0).empty()) open(fields[0] == "-" ? "" : fields[0]);
        const bool only_looks = std::any_of(fields.begin() + 2, fields.end(), [](const auto& field) {
            return std::set<std::string>{"?", ">", "=", "!="}.contains(field.substr(0, field.find(' ')));
        });
        type(fields.at(1), only_looks);
        std::string told, asked, says, says2;
        bool stays = only_looks;
        const std::string messages = answered_messages();
        std::string asked_now = joined_calls();
        for (std::size_t i = 2; i < fields.size(); ++i) {
            const auto blank = std::min(fields[i].find(' '), fields[i].size());
            const std::string mark = fields[i].substr(0, blank);
            const std::string rest = trimmed(fields[i].substr(blank));
            if (mark == "open")
                stays = true;
            else if (mark == "ends") {
                tool().send("Ctrl-O");
                expect_same("exit status", "0", std::to_string(tool().wait_exit().value_or(-1)));
                asked_now = joined(asked_now, joined_calls());
            } else if (mark == "says" || mark == "says2")
                (mark == "says" ? says : says2) = rest;
            else if (mark == "!")
                told = joined(told, message(rest), " / ");
            else if (mark == "~" || mark == "!~")
                expect_same(rest, mark == "~" ? "traced" : "not traced",
                            traced(rest) ? "traced" : "not traced");
            else if (mark == "~.")
                expect_same("last trace line", rest, trace().back());
            else if (mark == "^")
                expect_same("opening", rest, opening_);
            else if (mark == "?")
                expect_same("looks", rest, looks());
            else if (mark == ">")
                expect_same("highlighted", rest, highlighted());
            else if (mark == "=" || mark == "!=")
                expect_same(
                    rest, mark,
                    plain(tool().picture()).find(plain(" " + rest + " ")) != std::string::npos ? "=" : "!=");
            else
                asked = fields[i];
        }
        expect_same("messages", told, messages);
        expect_same("calls", asked, asked_now);
        const bool is_open = panel_ == "MAIN" ? !tool().has_ended() : shows("┤ " + title() + " ├");
        expect_same("panel", stays ? "open" : "closed", is_open ? "open" : "closed");
        if (tool().has_ended()) expect_end(says, says2);
    } catch (const std::exception& error) {
        ADD_FAILURE_AT(GetParam().c_str(), line_) << error.what();
    }

    void expect_end(const std::string& says, const std::string& says2) {
        expect_same("says", says + "\n", tool().picture() + contents(folder() / "redirected"));
        expect_same("says2", says2 + (says2.empty() ? "" : "\n"), errors());
        expect_same("terminal", "restored", tool().terminal_restored() ? "restored" : "not restored");
    }

    void open(std::string script) {
        script = joined(script_, script, "; ");
        for (std::size_t at = 0; (at = script.find("; ", at)) != std::string::npos;)
            script.replace(at, 2, "\n");
        if (panel_ == "MAIN") {
            launch(script);
            if (const auto rests = tool().settle(); !rests && !tool().has_ended()) complain(rests.message());
        } else {
            open_panel(panel_, script);
            opening_ = joined_calls();
        }
    }

    void open_rows(const Lines& rows) {
        for (std::size_t at = 0; at < rows.size(); ++at) {
            const Lines names = split(rows[at], ":");
            const std::string& panel = names.back();
            open("");
            keys("Down*" + std::to_string(at + 1 < rows.size() ? at : at + 1));  // there is no further row
            expect_same("row", names[0] == "-" ? "" : text("MAIN_TABNAME_" + names[0] + "_ID"),
                        highlighted());
            keys("Enter");
            const bool is_title = panel.find_first_of("aeiou") != std::string::npos;
            if (!shows("┤ " + (is_title ? panel : text("TITTLE_" + panel + "_ID")) + " ├"))
                complain(rows[at]);
        }
    }

    void type(const std::string& all, bool only_looks) {
        bool pressed = only_looks;
        for (const std::string& key : split(all, " ")) {
            int rows = 0, columns = 0;
            if (std::sscanf(key.c_str(), "%dx%d", &rows, &columns) == 2)
                tool().resize(rows, columns);
            else if (!key.starts_with('['))
                keys(key);
            else if (key != "[]")
                press(key.substr(1, key.size() - 2));
            pressed = pressed || key.starts_with('[');
        }
        if (!pressed) press("OK");
    }

    std::string indented(std::ifstream& file) {
        std::string all, line;
        for (; file.peek() == ' ' && std::getline(file, line); ++line_)
            all += '\n' + line;
        return all;
    }
    /// The picture without its first and last line and the rows that only frame it.
    std::string framed() {
        std::string all;
        for (int row = 1; row < options.rows - 1; ++row) {
            std::string inside = tool().row(row);
            replace(inside, "│", [](auto) { return " "; });
            if (!trimmed(inside).empty()) all += '\n' + tool().row(row);
        }
        return all;
    }

    std::string title() const { return text("TITTLE_" + panel_ + "_ID"); }

    /// Answers message after message. Their texts, behind the title where it is not the panel's.
    std::string answered_messages() {
        std::string all;
        for (auto ok = tool().find("│  ok  │"); ok; ok = tool().find("│  ok  │")) {
            const std::string heading = between(ok->row - 5, ok->column + 3, "┤", "├");
            const std::string told = between(ok->row - 3, ok->column + 3, "│", "│");
            all = joined(all, heading == title() ? told : heading + ": " + told, " / ");
            keys("Enter");
        }
        return all;
    }
    std::string between(int row, int column, std::string_view left, std::string_view right) {
        while (column > 0 && tool().cell({row, column - 1}).text != left)
            --column;
        std::string all;
        for (; column < options.columns && tool().cell({row, column}).text != right; ++column)
            all += tool().cell({row, column}).text;
        return trimmed(all);
    }
    /// A message as a case has it: a text, or an identifier and what stands in its places.
    std::string message(const std::string& told) const {
        const auto at = told.find(": ") < told.find(' ') ? told.find(' ') + 1 : 0;
        const Lines words = split(told.substr(at), " ");
        if (words[0].size() < 5 ||
            words[0].find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ_0123456789") < words[0].size())
            return told;
        std::string all = text(words[0]);
        for (std::size_t i = 1; i < words.size(); ++i)
            all.replace(all.find('%'), 2, words[i]);
        return told.substr(0, at) + all;
    }

    std::string joined_calls() {
        std::string all;
        for (const auto& call : calls())
            all = joined(all, call);
        return all;
    }

    std::string looks() {
        constexpr int kDisabledForeground = 8;
        std::string all;
        for (const std::string& look : looks_) {
            Position at = place(look);
            const bool box = look.starts_with('[');
            while (!box && tool().cell(at).text == " ")
                ++at.column;
            const bool disabled = tool().cell(at).foreground == kDisabledForeground;
            std::string read = box ? trimmed(tool().cell(at).text) : "";
            for (;
                 !box && std::string_view("-0123456789").find(tool().cell(at).text) != std::string_view::npos;
                 ++at.column)
                read += tool().cell(at).text;
            all = joined(all, (read.empty() ? "." : read) + (disabled ? "x" : ""));
        }
        return all;
    }
    /// Where a box has its mark, or an entry begins.
    Position place(const std::string& look) {
        const auto find = [this](const std::string& id) { return tool().find(text(id)).value(); };
        if (look.starts_with('[')) {
            const Position label = find(look.substr(1, look.size() - 2));
            return {label.row, label.column - 3};
        }
        const auto at = look.find('/');
        const Position label = find(look.substr(0, at));
        if (at != std::string::npos) return {label.row, find(look.substr(at + 1)).column};
        return {label.row, label.column + static_cast<int>(text(look).size())};
    }

    std::map<std::string, std::string> names_;
    std::string panel_, script_, opening_;
    Lines looks_;
    int line_ = 0;
};

TEST_P(Cases, AllHold) {
    if (run(0)) run(1);
}

Lines files() {
    Lines all;
    for (const auto& entry : std::filesystem::directory_iterator(CASES))
        all.push_back(entry.path());
    return all;
}
INSTANTIATE_TEST_SUITE_P(, Cases, testing::ValuesIn(files()),
                         [](const auto& file) { return std::filesystem::path(file.param).stem().string(); });

}  // namespace
}  // namespace zeltest
