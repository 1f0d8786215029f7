// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage.h"

#include <agntconf/columns.h>
#include <agntconf/dialog.h>
#include <agntconf/messages.h>
#include <agntconf/readstrfile.h>
#include <agntconf/widgets.h>
#include <zel/trace.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "storage_thresholds.h"

namespace zel {

using namespace storage;

namespace {

constexpr char kModule[] = "storage";
/// In the log, what the parts of the panel tell is the panel's.
constexpr char kPanel[] = "StoragePanel";
constexpr char kNoDevice[] = "none";
constexpr int kDeviceColumns = 19;
constexpr int kIntervalWidth = 5;
/// The agent version code whose devices have thresholds and defaults to edit.
constexpr std::int32_t kVersionWithThresholds = 1;

bool no_device() {
    return device_name(0) == kNoDevice;
}

void message(const std::string& message_text) {
    show_message("TITTLE_STORAGE_ID", message_text);
}

void traced_message(const char* identifier) {
    const std::string message_text = text(identifier);
    TraceLog(TRACE_LEVEL_ERROR, kModule, kPanel, __LINE__, "%s", message_text.c_str());
    message(message_text);
}

/// Tells the two failures that an agent call can have. True when it had none.
bool succeeded(int result) {
    if (result == STORAGE_NO_SERVICE) traced_message("STORERR_DAEMON_ID");
    if (result == STORAGE_WRITE_FAILED) traced_message("STORERR_WRITE_ID");
    return result != STORAGE_NO_SERVICE && result != STORAGE_WRITE_FAILED;
}

void read_settings() {
    HD[0][0] = '\0';
    const int result = ReadThresholdFromFile(&interval, &count, HD, value);
    TraceLog(TRACE_LEVEL_INFO, kModule, kPanel, __LINE__, "ReadThresholdFromFile() return %d.", result);
    count = std::clamp(count, 0, STORAGE_DEVICES_MAX);
    if (result == 0) std::memcpy(HD[0], kNoDevice, sizeof kNoDevice);
}

struct Widgets {
    newtComponent interval_entry = nullptr;
    newtComponent list = nullptr;
    newtComponent threshold = nullptr;  // null where the version has none
    newtComponent reset = nullptr;
    newtComponent default_settings = nullptr;  // null where the version has none
    OkCancel buttons;
};

newtComponent make_device_list(Dialog& dialog) {
    std::vector<ListRow> rows;
    if (no_device()) {
        rows.push_back({fit(kNoDevice, kDeviceColumns), 1});
    } else {
        for (std::int32_t device = 0; device < count; ++device)
            rows.push_back({fit(device_name(device), kDeviceColumns), device});
    }
    return dialog.list(rows);
}

newtGrid make_actions(Dialog& dialog, std::int32_t version, Widgets& widgets) {
    widgets.reset = dialog.button(text("STOG_RESET_ID"));
    if (version != kVersionWithThresholds)
        return dialog.grid(1, 1, {{0, 0, widgets.reset, kTop, {.left = 13, .right = 13}}});
    widgets.threshold = dialog.button(text("MYLEX_THRESHOLD_ID"));
    widgets.default_settings = dialog.button(text("STOG_DEFAULT_ID"));
    return dialog.grid(3, 1,
                       {{0, 0, widgets.threshold, kTop},
                        {1, 0, widgets.reset, kTop, {.left = 1}},
                        {2, 0, widgets.default_settings, kTop, {.left = 1}}});
}

void build(Dialog& dialog, std::int32_t version, Widgets& widgets) {
    newtComponent interval_label = dialog.label(text("CPU_SAMPLE_ID"));
    newtComponent device_label = dialog.label(text("STOG_DEVICE_ID"));
    widgets.interval_entry = dialog.number_entry(std::to_string(interval), kIntervalWidth);
    widgets.list = make_device_list(dialog);
    newtGrid actions = make_actions(dialog, version, widgets);
    widgets.buttons = dialog.ok_cancel({.left = 2}, {.left = 2});

    newtGrid interval_grid = dialog.grid(
        2, 1, {{0, 0, interval_label, kLeft}, {1, 0, widgets.interval_entry, kLeft, {.left = 2}}});
    newtGrid device_grid =
        dialog.grid(2, 1, {{0, 0, device_label, kTop}, {1, 0, widgets.list, kTop, {.left = 2}}});
    newtGrid outer = dialog.grid(1, 4,
                                 {{0, 0, interval_grid, kLeft},
                                  {0, 1, device_grid, kLeft, {.top = 1}},
                                  {0, 2, actions, kTop, {.top = 1}},
                                  {0, 3, widgets.buttons.row, kTop, {.top = 1}}});
    dialog.add({interval_label, device_label, widgets.interval_entry, widgets.list});
    if (widgets.threshold != nullptr) dialog.add({widgets.threshold});
    dialog.add({widgets.reset});
    if (widgets.default_settings != nullptr) dialog.add({widgets.default_settings});
    dialog.add({widgets.buttons.ok, widgets.buttons.cancel});
    dialog.open(outer, text("TITTLE_STORAGE_ID"), {15});
}

/// The buttons that act on the selected device at once, apart from OK and Cancel.
void act_on_device(const Widgets& widgets, newtComponent button) {
    if (no_device()) return message(text("STORERR_NONESEL_ID"));
    const auto device = static_cast<std::int32_t>(current_row(widgets.list));
    if (button == widgets.threshold) {
        ThresholdSubPanel(device);
    } else if (button == widgets.reset) {
        const int result = ResetStorageService(device + 1);
        TraceLog(TRACE_LEVEL_INFO, kModule, kPanel, __LINE__, "ResetStorageService() return %d.", result);
        succeeded(result);
    } else {
        succeeded(SetDefaultStorageService(interval, count, HD, value, device));
    }
}

/// Writes what changed. True when the panel may close.
bool write_settings(const Widgets& widgets) {
    if (no_device()) {
        traced_message("STORERR_NONESEL_ID");
        return false;
    }
    const std::int32_t entered = entry_number(widgets.interval_entry);
    if (entered < MONITOR_INTERVAL_MIN || entered > MONITOR_INTERVAL_MAX) {
        message(format_text(text("STORERR_INTERVAL_ID"), {MONITOR_INTERVAL_MIN, MONITOR_INTERVAL_MAX}));
        return false;
    }
    if (entered != interval) {
        interval = entered;
        value_changed = 1;
    }
    if (value_changed == 0) return true;
    const int result = WriteThreshold(interval, count, HD, value);
    TraceLog(TRACE_LEVEL_INFO, kModule, kPanel, __LINE__, "WriteThreshold() return %d.", result);
    return succeeded(result);
}

/// The panel's window, from its opening to its end.
void run_dialog(std::int32_t version) {
    Widgets widgets;
    Dialog dialog;
    build(dialog, version, widgets);
    for (;;) {
        newtComponent answer = dialog.run();
        if (answer == nullptr || answer == widgets.buttons.cancel) return;
        if (answer == widgets.buttons.ok) {
            if (write_settings(widgets)) return;
        } else if (answer == widgets.reset || answer == widgets.threshold ||
                   answer == widgets.default_settings) {
            act_on_device(widgets, answer);
        }
    }
}

}  // namespace

void StoragePanel(std::int32_t version) {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">zelver=%d", version);
    read_settings();
    run_dialog(version);
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<");
}

}  // namespace zel
