// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage_thresholds.h"

#include <agntconf/columns.h>
#include <agntconf/dialog.h>
#include <agntconf/messages.h>
#include <agntconf/readstrfile.h>
#include <agntconf/widgets.h>
#include <zel/trace.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <span>
#include <string>

namespace zel::storage {

StorageNames HD;
std::int32_t count = 0;
std::int32_t interval = 0;
StorageValues value;
StorageValues value_tmp;
std::int32_t value_changed = 0;

namespace {

constexpr char kModule[] = "storage";
constexpr int kKindColumns = 31;
constexpr int kKindRows = 6;
constexpr int kEntryWidth = 4;
constexpr std::array kKinds = {"STOGSUB_RECOERR_ID", "STOGSUB_NRERR_ID", "STOGSUB_MEDERR_ID",
                               "STOGSUB_HWERR_ID"};

std::int32_t ListSelect = 0;  // the device that is edited
std::int32_t LastSelect = 0;  // the kind of errors that the entries show
char EnableThreshold = kCleared;
newtComponent ListCheck = nullptr;
newtComponent StorageCheck = nullptr;

using Kind = std::int32_t StorageThresholdItem::*;
/// What the two entries hold.
constexpr std::array<Kind, 2> kFields = {&StorageThresholdItem::fatal, &StorageThresholdItem::warning};

std::span<StorageThresholdItem, STORAGE_ERROR_KINDS> items_of(StorageValues& table, std::int32_t device) {
    return std::span<StorageThresholdItem, STORAGE_ERROR_KINDS>(table[device]);
}

bool equal(const StorageThresholdItem& a, const StorageThresholdItem& b) {
    return a.fatal == b.fatal && a.warning == b.warning && a.state == b.state;
}

void copy_items(StorageValues& from, StorageValues& to, std::int32_t device) {
    std::ranges::copy(items_of(from, device), items_of(to, device).begin());
}

std::int32_t state_of_mark() {
    return EnableThreshold == kMarked ? STORAGE_STATE_ON : STORAGE_STATE_OFF;
}

struct Widgets {
    std::array<newtComponent, 2> entries{};
    newtComponent list = nullptr;
    OkCancel buttons;
};

/// From the first empty entry on, all are given their saved value back.
void refill_from_first_empty(std::span<newtComponent> entries) {
    bool refill = false;
    for (std::size_t i = 0; i < kFields.size(); ++i) {
        refill = refill || entry_is_empty(entries[i]);
        if (refill) set_entry(entries[i], value[ListSelect][LastSelect].*kFields[i]);
    }
}

void read_entries(std::span<newtComponent> entries, StorageThresholdItem& item) {
    for (std::size_t i = 0; i < kFields.size(); ++i)
        item.*kFields[i] = entry_number(entries[i]);
}

/// The list moved to another kind of errors: keeps what was entered for the one that is left.
void ListFunc(newtComponent list, void* data) {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    const std::span<newtComponent> entries(static_cast<newtComponent*>(data), kFields.size());
    StorageCheck = ListCheck;
    const auto selected = static_cast<std::int32_t>(current_row(list));
    refill_from_first_empty(entries);
    StorageThresholdItem& left = value_tmp[ListSelect][LastSelect];
    if (EnableThreshold == kMarked) read_entries(entries, left);
    left.state = state_of_mark();

    const StorageThresholdItem& shown = value_tmp[ListSelect][selected];
    for (std::size_t i = 0; i < kFields.size(); ++i)
        set_entry(entries[i], shown.*kFields[i]);
    set_mark(StorageCheck, shown.state == STORAGE_STATE_ON);
    for (newtComponent entry : entries)
        set_disabled(entry, EnableThreshold != kMarked);
    LastSelect = selected;
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<");
}

newtComponent make_list(Dialog& dialog, Widgets& widgets) {
    std::vector<std::string> rows;
    rows.reserve(kKinds.size());
    for (const char* kind : kKinds)
        rows.push_back(fit(text(kind), kKindColumns));
    return dialog.list(numbered(rows),
                       {.height = kKindRows, .on_move = ListFunc, .data = widgets.entries.data()});
}

void build(Dialog& dialog, Widgets& widgets) {
    const StorageThresholdItem& first = value_tmp[ListSelect][0];
    newtComponent list_label = dialog.label(text("STOGSUB_THRESHOLD_ID"));
    newtComponent fatal_label = dialog.label(text("FILE_FATAL_ID"));
    newtComponent warning_label = dialog.label(text("FILE_WARNING_ID"));
    widgets.list = make_list(dialog, widgets);
    const bool enabled = first.state == STORAGE_STATE_ON;
    ListCheck =
        dialog.checkbox(text("STOGSUB_ENABLE_ID"), enabled, &EnableThreshold, {.on_change = CheckButtonFunc});
    auto& entries = widgets.entries;
    for (std::size_t i = 0; i < kFields.size(); ++i)
        entries[i] = dialog.number_entry(std::to_string(first.*kFields[i]), kEntryWidth,
                                         enabled ? 0 : NEWT_FLAG_DISABLED);
    CheckStruct = {.components = entries.data(), .first = 0, .last = 1, .source = &EnableThreshold};
    widgets.buttons.ok = dialog.button(text("BUTTON_OK_ID"));
    widgets.buttons.cancel = dialog.button(text("BUTTON_CANCEL_ID"));

    // The buttons are taller than the label beside them: negative paddings pull what is below up again.
    newtGrid head = dialog.grid(2, 2,
                                {{0, 0, list_label, kLeft, {.top = -1}},
                                 {1, 0, widgets.buttons.ok, kTop, {.left = 1, .top = 1}},
                                 {0, 1, widgets.list, kLeft, {.top = -4}},
                                 {1, 1, widgets.buttons.cancel, kTop, {.left = 1}}});
    newtGrid check = dialog.grid(1, 1, {{0, 0, ListCheck, kTop}});
    newtGrid thresholds = dialog.grid(2, 2,
                                      {{0, 0, fatal_label, kLeft},
                                       {1, 0, entries[0], kLeft, {.left = 3}},
                                       {0, 1, warning_label, kLeft},
                                       {1, 1, entries[1], kLeft, {.left = 3}}});
    newtGrid outer = dialog.grid(1, 3,
                                 {{0, 0, head, kTop},
                                  {0, 1, check, kLeft, {.left = 2, .top = -2}},
                                  {0, 2, thresholds, kLeft, {.left = 6, .top = -1}}});
    dialog.add({list_label, fatal_label, warning_label, widgets.list, ListCheck, entries[0], entries[1],
                widgets.buttons.ok, widgets.buttons.cancel});
    dialog.open(outer, printable(device_name(ListSelect)) + text("STOGSUB_THRESHOLD1_ID"), {15});
}

/// Takes the shown kind into the working copy and, when all four are in order, the copy into `value`.
bool accept(Widgets& widgets) {
    auto& entries = widgets.entries;
    if (EnableThreshold == kMarked && std::any_of(entries.begin(), entries.end(), entry_is_empty)) {
        show_message("TITTLE_STORAGE_ID", "You must input a number!");
        return false;
    }
    StorageThresholdItem& item = value_tmp[ListSelect][current_row(widgets.list)];
    read_entries(entries, item);
    item.state = state_of_mark();
    value_changed |= threshold_changed(ListSelect);  // also when the order is rejected below
    if (check_threshold(ListSelect) != 0) {
        show_message("TITTLE_STORAGE_ID", format_text(text("TEMPERR_THRESHOLD_ID"), {1, 3600}));
        return false;
    }
    copy_items(value_tmp, value, ListSelect);
    return true;
}

}  // namespace

std::string_view device_name(std::int32_t device) {
    const char* name = HD[device];
    return {name, strnlen(name, STORAGE_NAME_SIZE)};
}

int check_threshold(std::int32_t device) {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">index=%d", device);
    for (const StorageThresholdItem& item : items_of(value_tmp, device)) {
        if (item.fatal <= item.warning || item.fatal < 0 || item.warning < 0) {
            ZEL_TRACE(TRACE_LEVEL_ERROR, "<wrong order setting.return -1.");
            return -1;
        }
    }
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<return 0.");
    return 0;
}

int threshold_changed(std::int32_t device) {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">index=%d", device);
    const auto edited = items_of(value_tmp, device);
    const auto saved = items_of(value, device);
    for (std::size_t kind = 0; kind < edited.size(); ++kind) {
        if (edited[kind].state != STORAGE_STATE_OFF) continue;
        edited[kind].fatal = saved[kind].fatal;
        edited[kind].warning = saved[kind].warning;
    }
    if (!std::ranges::equal(edited, saved, equal)) {
        ZEL_TRACE(TRACE_LEVEL_TRACE, "<storage %d's threshold have be changed.return 1", device);
        return 1;
    }
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<return 0.");
    return 0;
}

void ThresholdSubPanel(std::int32_t device) {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">select=%d", device);
    ListSelect = device;
    LastSelect = 0;
    copy_items(value, value_tmp, device);
    Widgets widgets;
    Dialog dialog;
    build(dialog, widgets);
    dialog.run_until(widgets.buttons, [&] { return accept(widgets); });
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<");
}

}  // namespace zel::storage
