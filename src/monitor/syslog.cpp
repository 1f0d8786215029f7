// SPDX-License-Identifier: GPL-3.0-or-later
#include "syslog.h"

#include <agntconf/dialog.h>
#include <agntconf/messages.h>
#include <agntconf/readstrfile.h>
#include <agntconf/widgets.h>
#include <zel/access_monitor.h>
#include <zel/trace.h>
#include <zel/win32.h>

#include <string>

namespace zel {

namespace {

constexpr char kModule[] = "syslog";
constexpr char kCycleEvent[] = "Eventlog_Cycle_Event";
constexpr std::uint32_t kLowest = EVENTLOG_CYCLE_MIN;
constexpr std::uint32_t kHighest = EVENTLOG_CYCLE_MAX;
constexpr std::uint32_t kDefault = EVENTLOG_CYCLE_DEFAULT;
constexpr int kEntryWidth = 5;
constexpr std::size_t kMessageBytes = 79;

bool in_range(std::uint32_t interval) {
    return interval - kLowest <= kHighest - kLowest;
}

struct Widgets {
    newtComponent entry = nullptr;
    OkCancel buttons;
};

void build(Dialog& dialog, std::uint32_t interval, Widgets& widgets) {
    newtComponent label = dialog.label(text("SYSLOG_MONITOR_ID"));
    widgets.entry = dialog.number_entry(std::to_string(interval), kEntryWidth);
    widgets.buttons = dialog.ok_cancel();

    newtGrid setting = dialog.grid(2, 1, {{0, 0, label, kLeft}, {1, 0, widgets.entry, kLeft, {.left = 1}}});
    newtGrid outer = dialog.grid(
        1, 2, {{0, 0, setting, kLeft, {.top = 1}}, {0, 1, widgets.buttons.row, kTop, {.top = 1}}});
    dialog.add({label, widgets.entry, widgets.buttons.ok, widgets.buttons.cancel});
    dialog.open(outer, text("TITTLE_SYSLOG_ID"), {15});
}

/// Tells the alert manager; it may not be running.
void signal_alert_manager() {
    HANDLE event = OpenEvent(0, 0, kCycleEvent);
    if (event == nullptr) return;
    ZEL_TRACE_AS("SyslogPanel", TRACE_LEVEL_TRACE, "Open Eventlog_Cycle_Event Success.");
    SetEvent(event);
    CloseHandle(event);
}

}  // namespace

int GetIntervalValue(std::uint32_t* value) {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    ZEL_TRACE(TRACE_LEVEL_TRACE, "rgData=%p.", static_cast<void*>(value));
    HKEY key = nullptr;
    if (RegOpenKeyEx(HKEY_LOCAL_MACHINE, EVENTLOG_KEY, 0, 0, &key) != ERROR_SUCCESS) {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "<RegOpenKeyEx %s failed.return FALSE.", EVENTLOG_KEY);
        return 0;
    }
    std::uint32_t data = 0;
    std::uint32_t type = 0;
    std::uint32_t size = sizeof data;
    if (RegQueryValueEx(key, EVENTLOG_CYCLE, nullptr, &type, reinterpret_cast<std::uint8_t*>(&data), &size) !=
        ERROR_SUCCESS) {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "<RegQueryValueEx() %s failed.return FALSE.", EVENTLOG_CYCLE);
        RegCloseKey(key);
        return 0;
    }
    *value = data;
    RegCloseKey(key);
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<return TRUE.*rgData=%d.", static_cast<int>(data));
    return 1;
}

int SetIntervalValue(std::uint32_t value) {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">rgData=%d.", static_cast<int>(value));
    HKEY key = nullptr;
    std::uint32_t disposition = 0;
    if (RegCreateKeyEx(HKEY_LOCAL_MACHINE, EVENTLOG_KEY, 0, "", 0, KEY_ALL_ACCESS, nullptr, &key,
                       &disposition) != ERROR_SUCCESS) {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "<RegCreateKeyEx %s failed.return FALSE.", EVENTLOG_KEY);
        return 0;
    }
    if (RegSetValueEx(key, EVENTLOG_CYCLE, 0, REG_DWORD, reinterpret_cast<const std::uint8_t*>(&value),
                      sizeof value) != ERROR_SUCCESS) {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "<RegSetValueEx %s failed.return FALSE.", EVENTLOG_CYCLE);
        RegCloseKey(key);
        return 0;
    }
    RegCloseKey(key);
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<return TRUE.");
    return 1;
}

void SyslogPanel() {
    std::uint32_t interval = kDefault;
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    const std::string range_error =
        format_text(text("SYSLOG_SETTING_ERR_ID"), {static_cast<int>(kLowest), static_cast<int>(kHighest)},
                    kMessageBytes);
    GetIntervalValue(&interval);
    ZEL_TRACE(TRACE_LEVEL_INFO, "GetIntervalValue(%d)", static_cast<int>(interval));
    const std::uint32_t storedInterval = interval;  // also a value out of range: OK then replaces it
    if (!in_range(interval)) interval = kDefault;

    {
        Widgets widgets;
        Dialog dialog;
        build(dialog, interval, widgets);
        bool save = false;
        dialog.run_until(widgets.buttons, [&] {
            interval = static_cast<std::uint32_t>(entry_number(widgets.entry));
            save = in_range(interval);
            if (!save) show_message("TITTLE_SYSLOG_ID", range_error);
            return save;
        });
        if (save && interval != storedInterval && SetIntervalValue(interval) == 1) signal_alert_manager();
    }
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<");
}

}  // namespace zel
