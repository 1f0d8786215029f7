// SPDX-License-Identifier: GPL-3.0-or-later
#include "repaint.h"

#include <pthread.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <vector>

#include "terminal.h"

namespace zel {

namespace {

constexpr int kResizeKey = NEWT_KEY_RESIZE;

struct Size {
    int rows = 0;
    int columns = 0;
    bool operator==(const Size&) const = default;
};

struct sigaction newt_winch {};
// Any thread may be the one that takes a signal; the one that runs the forms has to hear of it.
std::atomic<bool> continued = false;
pthread_t screen_thread{};
static_assert(std::atomic<bool>::is_always_lock_free);

void on_stop(int) {
    terminal_give_back();
    std::raise(SIGSTOP);
}

void on_continue(int) {
    const int kept = errno;
    continued = true;
    pthread_kill(screen_thread, SIGWINCH);  // wakes the form
    errno = kept;
}

void take_signals() {
    sigaction(SIGWINCH, &newt_winch, nullptr);
    struct sigaction action {};
    sigfillset(&action.sa_mask);
    action.sa_handler = on_stop;
    sigaction(SIGTSTP, &action, nullptr);
    action.sa_handler = on_continue;
    sigaction(SIGCONT, &action, nullptr);
}

/// All cells that were ever shown: more than the screen holds after it became smaller.
class Picture {
  public:
    /// Looks at an empty screen with a help line: S-Lang numbers colours in its own way.
    void learn_colours(Size screen) {
        if (screen.rows > 1) background_ = first_cell(screen.rows - 2);
        help_line_colour_ = first_cell(screen.rows - 1).color;
    }

    /// Takes over what the screen shows.
    void take(Size screen) {
        rows_.resize(std::max(rows_.size(), static_cast<std::size_t>(screen.rows)));
        for (int row = 0; row < screen.rows; ++row) {
            Row shown = read(row, screen.columns);
            // The help line goes with the screen's edge and hides what a larger screen had in its place.
            if (row == screen.rows - 1 && is_help_line(shown.front())) continue;
            // In other rows it was put back by a window that closed at another size.
            std::ranges::replace_if(
                shown, [this](const SLsmg_Char_Type& cell) { return is_help_line(cell); }, background_);
            Row& kept = rows_[static_cast<std::size_t>(row)];
            if (shown.size() < kept.size())
                shown.insert(shown.end(), kept.begin() + std::ssize(shown), kept.end());
            kept = without_background(shown);
        }
    }

    /// True when a window's shadow, and nothing else of it, lies on the help line.
    [[nodiscard]] bool has_shadowed_help_line(Size screen) const {
        const Row shown = read(screen.rows - 1, screen.columns);
        const auto own = [this](const SLsmg_Char_Type& cell) { return is_help_line(cell); };
        const auto blank = [](const SLsmg_Char_Type& cell) { return SLSMG_EXTRACT_CHAR(cell) == ' '; };
        return !std::ranges::all_of(shown, own) &&
               std::ranges::all_of(shown, [&](const auto& cell) { return own(cell) || blank(cell); });
    }

    /// Draws as much as fits.
    void put(Size screen) const {
        for (int row = 0; row < std::min(screen.rows, static_cast<int>(rows_.size())); ++row) {
            const Row& kept = rows_[static_cast<std::size_t>(row)];
            Row fitting(kept.begin(),
                        kept.begin() + std::min(std::ssize(kept), std::ptrdiff_t{screen.columns}));
            // The left half of a wide character must not stand at the edge.
            if (fitting.size() < kept.size() && kept[fitting.size()].nchars == 0)
                fitting.back() = background_;
            slang.SLsmg_gotorc(row, 0);
            slang.SLsmg_write_raw(fitting.data(), static_cast<unsigned>(fitting.size()));
        }
    }

  private:
    using Row = std::vector<SLsmg_Char_Type>;

    static Row read(int row, int columns) {
        Row cells(static_cast<std::size_t>(std::max(columns, 1)));
        slang.SLsmg_gotorc(row, 0);
        slang.SLsmg_read_raw(cells.data(), static_cast<unsigned>(cells.size()));
        return cells;
    }

    /// Most of a screen is background, which need not be kept: it is there before a picture is put.
    [[nodiscard]] Row without_background(const Row& row) const {
        const auto seen = [this](const SLsmg_Char_Type& cell) {
            return cell.color != background_.color || cell.nchars != 1 || SLSMG_EXTRACT_CHAR(cell) != ' ';
        };
        return {row.begin(), std::find_if(row.rbegin(), row.rend(), seen).base()};
    }

    static SLsmg_Char_Type first_cell(int row) { return read(row, 1).front(); }

    [[nodiscard]] bool is_help_line(const SLsmg_Char_Type& cell) const {
        return cell.color == help_line_colour_;
    }

    std::vector<Row> rows_;
    SLsmg_Char_Type background_{.nchars = 1, .wchars = {' '}, .color = 0};
    SLsmg_Color_Type help_line_colour_ = 0;
};

Size terminal_size(Size otherwise) {
    winsize size{};
    const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 0 && size.ws_col > 0;
    return known ? Size{size.ws_row, size.ws_col} : otherwise;
}

/// What lay beneath a window when it was opened, and the size then.
struct Beneath {
    Size size;
    Picture picture;
};

struct Screen {
    Size size;
    Picture picture;
    std::vector<Beneath> windows;
};

Screen& screen() {
    static Screen shown;
    return shown;
}

void set_area(Size size) {
    *slang.SLtt_Screen_Rows = size.rows;
    *slang.SLtt_Screen_Cols = size.columns;
    slang.SLsmg_reinit_smg();
}

void draw(Size size) {
    set_area(size);
    screen().size = size;
    newt.newtCls();
    screen().picture.put(size);
    newt.newtRedrawHelpLine();
    newt.newtRefresh();
}

}  // namespace

void repaint_arm() {
    sigaction(SIGWINCH, nullptr, &newt_winch);
    newt.newtGetScreenSize(&screen().size.columns, &screen().size.rows);
    screen().picture.learn_colours(screen().size);
    screen_thread = pthread_self();
    take_signals();
}

void repaint_watch_form(newtComponent form) {
    newt.newtFormAddHotKey(form, kResizeKey);
}

bool is_repaint(const newtExitStruct& result) {
    return result.reason == newtExitStruct::NEWT_EXIT_HOTKEY && result.u.key == kResizeKey;
}

void repaint_if_changed() {
    take_signals();
    if (continued.exchange(false)) {
        newt.newtSuspend();
        newt.newtResume();
    }
    const Size size = terminal_size(screen().size);
    if (size == screen().size) return;
    screen().picture.take(screen().size);
    draw(size);
}

void repaint_before_opening() {
    repaint_if_changed();
    screen().picture.take(screen().size);
    screen().windows.push_back({screen().size, screen().picture});
}

void repaint_after_opening() {
    if (!screen().picture.has_shadowed_help_line(screen().size)) return;
    newt.newtRedrawHelpLine();
    newt.newtRefresh();
}

void repaint_close_window() {
    const Beneath beneath = std::move(screen().windows.back());
    screen().windows.pop_back();
    if (beneath.size == screen().size) return newt.newtPopWindow();
    // What newt kept of the screen has another shape, and holes where the window went beyond the edge: it
    // goes to an area of a single cell, and what we kept is drawn.
    set_area({1, 1});
    newt.newtPopWindowNoRefresh();
    const Size size = screen().size;
    screen().picture = beneath.picture;
    draw(size);
}

}  // namespace zel
