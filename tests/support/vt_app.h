// SPDX-License-Identifier: GPL-3.0-or-later
// A full-screen program on a pseudo-terminal, its picture kept by libvterm, for tests.
// Nothing sleeps: settle() knows from the kernel that the program waits for the next key.
#pragma once
#include <gtest/gtest.h>
#include <sys/types.h>
#include <termios.h>
#include <vterm.h>

#include <array>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zeltest {

/// A descriptor that is closed with its owner.
class UniqueFd {
  public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : fd_(fd) {}
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;
    ~UniqueFd() { reset(); }
    int get() const { return fd_; }
    void reset(int fd = -1);

  private:
    int fd_ = -1;
};

struct VtOptions {
    std::vector<std::string> command;  ///< program (full path) and arguments
    /// Set over a pinned environment (TERM=xterm-256color, LANG=C.UTF-8, PATH, sanitizer options and nothing
    /// else); a name without a value is left out of it.
    std::map<std::string, std::optional<std::string>> environment;
    std::vector<std::string> preload;     ///< libraries put in front of the program's own, sanitized or not
    std::array<std::string, 3> redirect;  ///< file for standard input, output, error; "" = the terminal
    int rows = 24;
    int columns = 80;
    bool controlling = true;  ///< false: the terminal sends no signals, its end shows as end of input only
};

/// One character cell. Colours are palette numbers, -1 = the terminal's default.
struct Cell {
    std::string text;  ///< UTF-8; "" = the right half of a wide character
    int foreground = -1;
    int background = -1;
};

struct Position {
    int row = 0;
    int column = 0;  ///< in cells, not in bytes
};

class VtApp {
  public:
    /// Starts the program; one that cannot be started ends with status 127.
    explicit VtApp(const VtOptions& options);
    VtApp(const VtApp&) = delete;
    VtApp& operator=(const VtApp&) = delete;
    /// Hangs up and kills what still runs.
    ~VtApp();

    /// Waits until every key is taken, the program waits for the next one and all output is in the picture.
    /// Fails, with the picture, when the program ended or 10 seconds passed. Signals cannot be seen coming:
    /// after signal() and hang_up() use wait_exit().
    testing::AssertionResult settle();

    /// Sends keys and settles after each; throws, with the picture, where settle() fails. Keys are separated
    /// by blanks: names (Tab S-Tab Up Down Home End Enter Space Esc Backspace Delete F12, Ctrl-A to
    /// Ctrl-Z) or else texts, sent as they stand; Tab*3 is Tab three times.
    void keys(std::string_view names);

    /// Sends one key, as for keys(), without waiting.
    void send(std::string_view name);

    bool has_ended();
    [[nodiscard]] pid_t pid() const { return pid_; }  ///< for the benchmarks

    /// Waits for the end: the exit status, minus the signal's number for a killed program, none after 10 s.
    std::optional<int> wait_exit();

    /// Waits until a signal has stopped the program.
    bool wait_stop();
    /// Waits until the program, continued, has the screen again. Keys sent earlier would be echoed into it.
    bool wait_screen();

    std::string row(int row) const;  ///< text of a row without trailing blanks
    std::string picture() const;     ///< all rows, each ended by a line feed, trailing empty rows left out
    std::optional<Position> find(std::string_view text) const;  ///< first occurrence, row by row
    bool shows(std::string_view text) const { return find(text).has_value(); }
    Cell cell(Position at) const;
    /// The cell right of (or left of, when negative) the first one of `text` by `offset`; a test failure if
    /// absent.
    Cell cell(std::string_view text, int offset = 0) const;
    /// The text of all cells with this background, without trailing blanks.
    std::string text_on(int background) const;
    void resize(int rows, int columns);
    void hang_up();                                      ///< the terminal disappears
    void signal(int number) const;                       ///< sends a signal to the program
    double cpu_seconds() const { return cpu_seconds_; }  ///< user and system time; known once it has ended
    bool terminal_restored() const;  ///< modes as before the start, normal screen, cursor visible

  private:
    bool idle() const;
    void drain();
    void start(const VtOptions& options);

    struct FreeVterm {
        void operator()(VTerm* terminal) const { vterm_free(terminal); }
    };

    int rows_;
    int columns_;
    UniqueFd master_;
    UniqueFd slave_;  // kept open so that modes and unread input can be looked at
    pid_t pid_ = -1;
    std::optional<int> status_;
    double cpu_seconds_ = 0;
    termios modes_{};
    bool alternate_screen_ = false;
    bool cursor_visible_ = true;
    std::string name_;
    std::unique_ptr<VTerm, FreeVterm> terminal_;
    VTermScreen* screen_ = nullptr;  // part of terminal_
};

/// Presses Tab until the tool's button has the focus, then presses it.
inline void press(VtApp& tool, std::string_view button) {
    const int focused = tool.cell(button, -2).text == "│" ? 3 : 4;  // of a framed button, of a compact one
    for (int i = 0; i < 40 && tool.cell(button).background != focused; ++i)
        tool.keys("Tab");
    tool.keys("Enter");
}
/// The highlighted row of the list that has the tool's focus.
inline std::string highlighted(const VtApp& tool) {
    constexpr int kHighlight = 1;
    return tool.text_on(kHighlight);
}
/// Goes to the row of that list that reads so, wherever it stands; a test failure if absent.
inline void choose_row(VtApp& tool, const std::string& row) {
    tool.keys("Home");
    for (int i = 0; i < 40 && highlighted(tool) != row; ++i)
        tool.keys("Down");
    EXPECT_EQ(highlighted(tool), row);
}

}  // namespace zeltest
