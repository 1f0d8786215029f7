// SPDX-License-Identifier: GPL-3.0-or-later
// One dialog: a form, its components, its grids and its window, built, run and taken down in one place.
// Panels hold their layout as tables and their rules as code; everything that is newt's business is here.
#pragma once

#include <agntconf/newtlib.h>

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <span>
#include <string>
#include <variant>
#include <vector>

namespace zel {

/// Blank columns and rows around a grid cell; negative values pull the neighbours closer.
struct Padding {
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;
};

/// Where a component stands in its cell.
inline constexpr int kLeft = NEWT_ANCHOR_LEFT;
inline constexpr int kTop = NEWT_ANCHOR_TOP;

/// One cell of a grid: a component, or a grid made before.
struct Cell {
    int column;
    int row;
    std::variant<newtComponent, newtGrid> content;
    int anchor = kLeft;
    Padding padding = {};
};

/// One row of a list: its text, and the number that `current_row` gives for it.
struct ListRow {
    std::string text;
    std::intptr_t key;
};

/// Rows with their places, from 0, as keys.
std::vector<ListRow> numbered(std::span<const std::string> texts);

struct ListOptions {
    int height = 1;
    int width = 0;     ///< 0: as its widest row needs it.
    int flags = 0;     ///< NEWT_FLAG_RETURNEXIT, NEWT_FLAG_SCROLL or 0.
    int selected = 0;  ///< The place of the row that is selected first.
    /// Called with the list and `data` when the user moves it; not for the first selection.
    newtCallback on_move = nullptr;
    void* data = nullptr;
};

/// Of check boxes and radio buttons.
struct BoxOptions {
    bool disabled = false;
    newtCallback on_change = nullptr;  ///< Called when the user changes the mark.
};

/// The buttons that nearly every panel ends with.
struct OkCancel {
    newtComponent ok = nullptr;
    newtComponent cancel = nullptr;
    newtGrid row = nullptr;  ///< The grid with both, to be placed before `open`.
};

/// What a hot key, Esc or F12 does in a dialog's loop besides OK and Cancel.
enum class OnHotKey { leave, run_again };

class Dialog {
  public:
    Dialog();
    /// Takes the window from the screen and frees the form with every component made here.
    ~Dialog();
    Dialog(const Dialog&) = delete;
    Dialog& operator=(const Dialog&) = delete;

    // The makers return handles that the dialog owns, also those that never join the form. Of every text,
    // what cannot or must not be shown becomes "?" (`printable`).
    newtComponent label(const std::string& text);
    newtComponent button(const std::string& text);
    newtComponent compact_button(const std::string& text);
    /// Wrapped text, `width` columns by `height` rows.
    newtComponent textbox(int width, int height, const std::string& text);
    /// A one-line entry for whole numbers. `flags`: NEWT_FLAG_DISABLED, NEWT_FLAG_SCROLL or 0.
    newtComponent number_entry(const std::string& text, int width, int flags = 0);
    /// A one-line entry for any text.
    newtComponent text_entry(const std::string& text, int width, int flags = 0);
    /// A check box whose mark ('*' or ' ') newt keeps in `*mark`, which must outlive the dialog.
    newtComponent checkbox(const std::string& text, bool set, char* mark, const BoxOptions& options = {});
    /// One of a group of radio buttons; `previous` is the one made before it, null for the first.
    newtComponent radio_button(const std::string& text, bool set, newtComponent previous,
                               const BoxOptions& options = {});
    newtComponent list(std::span<const ListRow> rows, const ListOptions& options = {});
    /// OK and Cancel beside each other, as the catalogue names them; they join the form where `add` says.
    OkCancel ok_cancel(const Padding& around_ok = {.left = 3}, const Padding& around_cancel = {.left = 3});

    /// Gives a component made here to another form, which will free it. Returns it.
    newtComponent lend(newtComponent component);

    /// A grid of the given size; its empty cells stay empty. It belongs to the dialog, or to the grid that
    /// takes it as a cell.
    newtGrid grid(int columns, int rows, std::initializer_list<Cell> cells);
    /// Sets one more cell of a grid made here.
    void place(newtGrid grid, const Cell& cell);

    /// Adds components to the form; their order is the order of the focus.
    void add(std::initializer_list<newtComponent> components);

    /// Opens the window around `outer` and registers the hot keys in the order given. The grids are gone
    /// afterwards.
    void open(newtGrid outer, const std::string& title, std::initializer_list<int> hot_keys);

    /// Runs the form until something ends it. Null for a hot key (also Esc, which Debian's newt adds to
    /// every form), the form itself for F12, else the component. Does not return when the terminal is gone.
    newtComponent run();

    /// Runs the form until Cancel, a hot key (if it leaves) or an OK for which `on_ok` returns true.
    void run_until(const OkCancel& buttons, const std::function<bool()>& on_ok,
                   OnHotKey on_hot_key = OnHotKey::leave);

  private:
    newtComponent keep(newtComponent component);
    newtComponent keep_box(newtComponent box, const BoxOptions& options);

    newtComponent form_;
    bool open_ = false;
    std::vector<newtComponent> outside_form_;  // made here, not added yet: newt will not free them
    std::vector<newtGrid> grids_;              // not yet taken by a grid above them
};

}  // namespace zel
