// SPDX-License-Identifier: GPL-3.0-or-later
#include <agntconf/columns.h>
#include <agntconf/dialog.h>
#include <agntconf/readstrfile.h>
#include <agntconf/widgets.h>

#include "repaint.h"
#include "terminal.h"

namespace zel {

namespace {

/// Where newt chooses the place: the grid sets it.
constexpr int kPlacedByGrid = -1;

newtGridElement kind_of(const Cell& cell) {
    return std::holds_alternative<newtGrid>(cell.content) ? NEWT_GRID_SUBGRID : NEWT_GRID_COMPONENT;
}

void* handle_of(const Cell& cell) {
    return std::visit([](auto handle) { return static_cast<void*>(handle); }, cell.content);
}

/// Opens a window in the middle of the screen, as newt does; one that is larger than the screen begins at its edge, where
/// newt would put its title and border beyond it.
void open_window(newtGrid outer, std::string title) {
    int columns = 0;
    int rows = 0;
    int width = 0;
    int height = 0;
    newt.newtGetScreenSize(&columns, &rows);
    newt.newtGridGetSize(outer, &width, &height);
    const int left = (columns - (std::max(width, static_cast<int>(columns_of(title)) + 2) + 2)) / 2;
    const int top = (rows - (height + 2)) / 2 - rows % 2;
    if (left >= 1 && top >= 1) {
        newt.newtGridWrappedWindow(outer, title.data());  // newt copies the title
    } else {
        newt.newtGridWrappedWindowAt(outer, title.data(), std::max(left, 1), std::max(top, 1));
    }
}

}  // namespace

std::vector<ListRow> numbered(std::span<const std::string> texts) {
    std::vector<ListRow> rows;
    for (const std::string& row : texts)
        rows.push_back({row, std::ssize(rows)});
    return rows;
}

Dialog::Dialog() : form_(newt.newtForm(nullptr, nullptr, 0)) {
    repaint_watch_form(form_);
}

Dialog::~Dialog() {
    if (open_) repaint_close_window();
    newt.newtFormDestroy(form_);
    for (newtComponent component : outside_form_)
        newt.newtComponentDestroy(component);
    for (newtGrid unused : grids_)
        newt.newtGridFree(unused, 1);
}

newtComponent Dialog::keep(newtComponent component) {
    outside_form_.push_back(component);
    return component;
}

newtComponent Dialog::keep_box(newtComponent box, const BoxOptions& options) {
    if (options.disabled) set_checkbox_disabled(box, true);
    if (options.on_change != nullptr) newt.newtComponentAddCallback(box, options.on_change, nullptr);
    return keep(box);
}

newtComponent Dialog::label(const std::string& text) {
    return keep(newt.newtLabel(kPlacedByGrid, kPlacedByGrid, printable_lines(text).c_str()));
}

newtComponent Dialog::button(const std::string& text) {
    return keep(newt.newtButton(kPlacedByGrid, kPlacedByGrid, printable(text).c_str()));
}

newtComponent Dialog::compact_button(const std::string& text) {
    return keep(newt.newtCompactButton(kPlacedByGrid, kPlacedByGrid, printable(text).c_str()));
}

newtComponent Dialog::textbox(int width, int height, const std::string& text) {
    newtComponent box = keep(newt.newtTextbox(kPlacedByGrid, kPlacedByGrid, width, height, NEWT_FLAG_WRAP));
    newt.newtTextboxSetText(box, printable_lines(text).c_str());
    return box;
}

newtComponent Dialog::text_entry(const std::string& text, int width, int flags) {
    return keep(newt.newtEntry(kPlacedByGrid, kPlacedByGrid, printable(text).c_str(), width, nullptr, flags));
}

newtComponent Dialog::number_entry(const std::string& text, int width, int flags) {
    newtComponent entry = text_entry(text, width, flags);
    newt.newtEntrySetFilter(entry, EntryNumricFilter, nullptr);
    return entry;
}

newtComponent Dialog::checkbox(const std::string& text, bool set, char* mark, const BoxOptions& options) {
    return keep_box(newt.newtCheckbox(kPlacedByGrid, kPlacedByGrid, printable(text).c_str(),
                                      set ? kMarked : kCleared, nullptr, mark),
                    options);
}

newtComponent Dialog::radio_button(const std::string& text, bool set, newtComponent previous,
                                   const BoxOptions& options) {
    return keep_box(
        newt.newtRadiobutton(kPlacedByGrid, kPlacedByGrid, printable(text).c_str(), set ? 1 : 0, previous),
        options);
}

newtComponent Dialog::list(std::span<const ListRow> rows, const ListOptions& options) {
    newtComponent made = keep(newt.newtListbox(kPlacedByGrid, kPlacedByGrid, options.height, options.flags));
    if (options.width != 0) newt.newtListboxSetWidth(made, options.width);
    for (const ListRow& row : rows)
        newt.newtListboxAppendEntry(made, printable(row.text).c_str(), reinterpret_cast<void*>(row.key));
    newt.newtListboxSetCurrent(made, options.selected);
    // After the selection, which would call it.
    if (options.on_move != nullptr) newt.newtComponentAddCallback(made, options.on_move, options.data);
    return made;
}

OkCancel Dialog::ok_cancel(const Padding& around_ok, const Padding& around_cancel) {
    newtComponent ok = button(text("BUTTON_OK_ID"));
    newtComponent cancel = button(text("BUTTON_CANCEL_ID"));
    newtGrid row = grid(2, 1, {{0, 0, ok, kTop, around_ok}, {1, 0, cancel, kTop, around_cancel}});
    return {.ok = ok, .cancel = cancel, .row = row};
}

newtComponent Dialog::lend(newtComponent component) {
    std::erase(outside_form_, component);
    return component;
}

newtGrid Dialog::grid(int columns, int rows, std::initializer_list<Cell> cells) {
    newtGrid made = newt.newtCreateGrid(columns, rows);
    for (const Cell& cell : cells)
        place(made, cell);
    grids_.push_back(made);
    return made;
}

void Dialog::place(newtGrid grid, const Cell& cell) {
    const Padding& padding = cell.padding;
    newt.newtGridSetField(grid, cell.column, cell.row, kind_of(cell), handle_of(cell), padding.left,
                          padding.top, padding.right, padding.bottom, cell.anchor, 0);
    if (const newtGrid* taken = std::get_if<newtGrid>(&cell.content)) std::erase(grids_, *taken);
}

void Dialog::add(std::initializer_list<newtComponent> components) {
    for (newtComponent component : components) {
        newt.newtFormAddComponent(form_, component);
        std::erase(outside_form_, component);
    }
}

void Dialog::open(newtGrid outer, const std::string& title, std::initializer_list<int> hot_keys) {
    repaint_before_opening();
    newt.newtCursorOff();  // an entry left by a hot key in the dialog beneath leaves it visible
    open_window(outer, printable_lines(title));
    open_ = true;
    repaint_after_opening();
    newt.newtGridFree(outer, 1);
    std::erase(grids_, outer);
    for (int key : hot_keys)
        newt.newtFormAddHotKey(form_, key);
}

newtComponent Dialog::run() {
    newtExitStruct result{};
    const CtrlCIsAKey held;
    do {
        repaint_if_changed();
        newt.newtFormRun(form_, &result);
    } while (is_repaint(result));
    repaint_if_changed();
    switch (result.reason) {
        case newtExitStruct::NEWT_EXIT_COMPONENT:
            return result.u.co;
        case newtExitStruct::NEWT_EXIT_HOTKEY:
            return result.u.key == (NEWT_KEY_F12) ? form_ : nullptr;
        case newtExitStruct::NEWT_EXIT_ERROR:
            terminal_lost();
        default:
            return nullptr;
    }
}

void Dialog::run_until(const OkCancel& buttons, const std::function<bool()>& on_ok, OnHotKey on_hot_key) {
    for (;;) {
        newtComponent answer = run();
        if (answer == buttons.cancel) return;
        if (answer == nullptr && on_hot_key == OnHotKey::leave) return;
        if (answer == buttons.ok && on_ok()) return;
    }
}

}  // namespace zel
