// SPDX-License-Identifier: GPL-3.0-or-later
#include "sensor_panel.h"

#include <agntconf/columns.h>
#include <agntconf/dialog.h>
#include <agntconf/messages.h>
#include <agntconf/readstrfile.h>
#include <agntconf/startup_facts.h>
#include <agntconf/widgets.h>
#include <zel/access_ipmi.h>

#include <algorithm>
#include <iterator>
#include <string>

namespace zel {

namespace {

constexpr int kEntryWidth = 8;
constexpr std::size_t kFirstEntry = 2;
constexpr std::size_t kLastEntry = 5;
constexpr std::size_t kHighNonRecoverable = 1;
constexpr std::size_t kLowNonRecoverable = 6;
/// The agent version code with rows for the non-recoverable thresholds; they are never read or written.
constexpr std::int32_t kVersionWithNonRecoverable = 1;

/// The open panel, which the callbacks reach only here.
struct OpenPanel {
    const SensorPanelKind* kind = nullptr;
    std::int32_t count = 0;
    std::int32_t current = 0;       // the sensor whose values the entries show
    std::int32_t last_pressed = 0;  // the one selected at the last OK
    std::array<newtComponent, kLowNonRecoverable + 1> keepentry{};
    newtComponent list = nullptr;
    newtComponent ListCheck = nullptr;
    OkCancel buttons;
};
OpenPanel panel;

bool is_supported(std::int64_t value) {
    return value != SENSOR_NO_THRESHOLD;
}
bool is_setting(std::uint32_t monitor) {
    return monitor != SENSOR_NO_MONITORING;
}
bool has_setting(const Sensor& sensor) {
    return is_setting(*sensor.monitor);
}
newtComponent entry_of(std::size_t threshold) {
    return panel.keepentry[kFirstEntry + threshold];
}
bool is_marked() {
    return *panel.kind->mark == kMarked;
}
Sensor shown_sensor() {
    return panel.kind->sensor(panel.current);
}

// ---- layout

newtComponent make_list(Dialog& dialog) {
    std::vector<ListRow> rows;
    if (panel.count == 0) rows.push_back({"none", 0});
    for (std::int32_t i = 0; i < panel.count; ++i) {
        if (has_setting(panel.kind->sensor(i))) rows.push_back({printable(panel.kind->name(i)), i});
    }
    return dialog.list(
        rows, {.width = panel.kind->list_width, .flags = NEWT_FLAG_SCROLL, .on_move = panel.kind->on_list});
}

newtComponent make_check_box(Dialog& dialog) {
    const std::uint32_t flag = *panel.kind->opening_flag;
    const bool set = flag != 0 && is_setting(flag);
    CheckStruct = {.components = panel.keepentry.data(),
                   .first = kFirstEntry,
                   .last = kLastEntry,
                   .source = panel.kind->mark};
    return dialog.checkbox(text(panel.kind->enable_label), set, panel.kind->mark,
                           {.disabled = !is_setting(flag), .on_change = panel.kind->on_checkbox});
}

/// Whether sensor 0's entries open enabled.
bool opens_editable() {
    const std::uint32_t flag = *panel.kind->opening_flag;
    return is_setting(flag) ? flag != 0 : panel.kind->editable_without_setting;
}

newtComponent make_entry(Dialog& dialog, std::int64_t value, bool enabled) {
    return dialog.number_entry(std::to_string(value), kEntryWidth, enabled ? 0 : NEWT_FLAG_DISABLED);
}

void make_entries(Dialog& dialog, const Sensor& first) {
    for (std::size_t i = 0; i < kThresholds; ++i) {
        const bool shown = first.settable && is_supported(*first.values[i]);
        panel.keepentry[kFirstEntry + i] =
            make_entry(dialog, shown ? *first.values[i] : 0, shown && opens_editable());
    }
    if (ZelVersion != kVersionWithNonRecoverable) return;
    panel.keepentry[kHighNonRecoverable] = make_entry(dialog, 0, false);
    panel.keepentry[kLowNonRecoverable] = make_entry(dialog, 0, false);
}

/// The rows of thresholds: label identifier and index of the entry.
std::vector<std::pair<const char*, std::size_t>> threshold_rows() {
    std::vector<std::pair<const char*, std::size_t>> rows;
    for (std::size_t i = 0; i < kThresholds; ++i)
        rows.emplace_back(panel.kind->threshold_labels[i], kFirstEntry + i);
    if (ZelVersion == kVersionWithNonRecoverable) {
        rows.insert(rows.begin(), {"VOL_HNORECO_ID", kHighNonRecoverable});
        rows.emplace_back("VOL_LNORECO_ID", kLowNonRecoverable);
    }
    return rows;
}

void build(Dialog& dialog) {
    const Sensor first = panel.kind->sensor(0);
    newtComponent sensor_label = dialog.label(text(panel.kind->sensor_label));
    panel.list = make_list(dialog);
    panel.ListCheck = make_check_box(dialog);
    make_entries(dialog, first);
    dialog.add({sensor_label, panel.list, panel.ListCheck});

    const auto rows = threshold_rows();
    newtGrid thresholds = dialog.grid(2, static_cast<int>(rows.size()), {});
    int row = 0;
    for (const auto& [label_id, entry] : rows) {
        newtComponent label = dialog.label(text(label_id));
        dialog.place(thresholds, {0, row, label, kLeft, {.left = 2, .top = 1}});
        dialog.place(thresholds, {1, row, panel.keepentry[entry], kLeft, {.left = 2, .top = 1}});
        dialog.add({label, panel.keepentry[entry]});
        ++row;
    }
    panel.buttons = dialog.ok_cancel();
    dialog.add({panel.buttons.ok, panel.buttons.cancel});
    newtGrid head =
        dialog.grid(2, 1, {{0, 0, sensor_label, kLeft}, {1, 0, panel.list, kLeft, {.left = 2, .right = 2}}});
    newtGrid outer = dialog.grid(1, 4,
                                 {{0, 0, head, kTop},
                                  {0, 1, panel.ListCheck, kLeft, {.top = 1}},
                                  {0, 2, thresholds, kTop},
                                  {0, 3, panel.buttons.row, kTop, {.top = 1}}});
    dialog.open(outer, text(panel.kind->title), {15, 128});
}

// ---- moving the list

void refill_entries(const Sensor& sensor) {
    bool refill = false;
    for (std::size_t i = 0; i < kThresholds; ++i) {
        const bool empty = entry_is_empty(entry_of(i));
        refill = empty || (refill && panel.kind->refill == Refill::from_first_empty);
        if (refill) set_entry(entry_of(i), *sensor.values[i]);
    }
}

void read_entries(const Sensor& sensor) {
    for (std::size_t i = 0; i < kThresholds; ++i) {
        if (is_supported(*sensor.values[i])) *sensor.values[i] = entry_long(entry_of(i));
    }
}

/// Takes the mark as the sensor's monitoring flag, if it has one.
void read_mark(const Sensor& sensor) {
    if (has_setting(sensor)) *sensor.monitor = is_marked() ? 1 : 0;
}

void show_sensor(const Sensor& sensor) {
    for (std::size_t i = 0; i < kThresholds; ++i) {
        const bool shown = sensor.settable && is_supported(*sensor.values[i]);
        set_entry(entry_of(i), shown ? *sensor.values[i] : 0);
    }
    set_mark(panel.ListCheck, *sensor.monitor == 1);
    set_checkbox_disabled(panel.ListCheck, !has_setting(sensor));
    panel.kind->on_checkbox(panel.ListCheck, nullptr);
    if (sensor.settable) return;
    for (std::size_t i = 0; i < kThresholds; ++i)
        set_disabled(entry_of(i), true);
}

// ---- OK

bool an_entry_is_empty() {
    const auto first = panel.keepentry.begin() + kFirstEntry;
    if (std::none_of(first, std::next(first, kThresholds), entry_is_empty)) return false;
    show_message(panel.kind->title, text("INPUT_NULL_ID"));
    return true;
}

/// Takes the dialog into the selected sensor's record. False, with a message, when an entry is empty.
bool take_selected_sensor() {
    const SensorPanelKind& kind = *panel.kind;
    if (kind.empty_test == EmptyTest::previous_ok && is_marked() &&
        kind.sensor(panel.last_pressed).settable && an_entry_is_empty())
        return false;
    panel.last_pressed = static_cast<std::int32_t>(current_row(panel.list));
    const Sensor sensor = kind.sensor(panel.last_pressed);
    read_mark(sensor);
    if (*sensor.monitor != 1 || !sensor.settable) return true;
    if (kind.empty_test == EmptyTest::now_selected && an_entry_is_empty()) return false;
    read_entries(sensor);
    return true;
}

/// Takes, judges and writes. True when the panel may close.
bool write_settings() {
    const SensorPanelKind& kind = *panel.kind;
    if (!take_selected_sensor() || !kind.judge(panel.count)) return false;
    if (kind.write(panel.count) > 0) return true;
    show_message(kind.message_title, text("IPMISENSOR_SET_ID"));
    kind.trace_write_failure();
    return false;
}

}  // namespace

bool is_in_range(const SensorPanelKind& kind, const Sensor& sensor) {
    int result = 1;
    for (std::size_t i = 0; i < kThresholds; ++i) {
        if (!is_supported(*sensor.values[i])) continue;
        result *= kind.in_range(*sensor.values[i], sensor.largest[i], sensor.smallest[i]);
    }
    return result == 1;
}

bool is_in_order(const SensorPanelKind& kind, const Sensor& sensor) {
    int result = 1;
    const std::int64_t* above = nullptr;
    for (const std::int64_t* value : sensor.values) {
        if (!is_supported(*value)) continue;
        if (above != nullptr) result *= kind.falls(*above, *value);
        above = value;
    }
    return result == 1;
}

bool is_judged(const Sensor& sensor) {
    return *sensor.monitor != 0 && has_setting(sensor) && sensor.settable;
}

void set_change_flag(const SensorPanelKind& kind, std::int32_t index) {
    const Sensor sensor = kind.sensor(index);
    *sensor.changed = 0;
    for (std::size_t i = 0; i < kThresholds; ++i) {
        if (*sensor.values[i] != kind.as_read(index, i)) *sensor.changed = 1;
    }
}

void run_sensor_panel(const SensorPanelKind& kind, std::int32_t count) {
    panel = {};
    panel.kind = &kind;
    panel.count = count;
    Dialog dialog;
    build(dialog);
    dialog.run_until(panel.buttons, write_settings);
}

void select_sensor(newtComponent list) {
    const Sensor left = shown_sensor();
    if (is_marked() && left.settable) {
        refill_entries(left);
        read_entries(left);
    }
    read_mark(left);
    panel.current = static_cast<std::int32_t>(current_row(list));
    show_sensor(shown_sensor());
}

void update_entries() {
    const Sensor sensor = shown_sensor();
    const bool disabled = *panel.kind->mark == kCleared || (is_marked() && !sensor.settable);
    for (std::size_t i = 0; i < kThresholds; ++i)
        set_disabled(entry_of(i), disabled || !is_supported(*sensor.values[i]));
}

}  // namespace zel
