// SPDX-License-Identifier: GPL-3.0-or-later
#include "wdt_ipmi.h"

#include <agntconf/messages.h>
#include <agntconf/readstrfile.h>
#include <zel/access_control.h>
#include <zel/trace.h>

#include <string>

#include "hang_dialog.h"

namespace zel {

namespace {

constexpr char kModule[] = "wdt_ipmi";
constexpr char kPanel[] = "WDTPanel";
constexpr int kEntryWidth = 5;
constexpr std::size_t kMessageBytes = 159;

/// A field of seconds with its range and the message that tells it.
struct Range {
    std::uint32_t lowest;
    std::uint32_t highest;
    const char* error;
};
constexpr Range kTimeout = {WDT_TIMEOUT_MIN, WDT_TIMEOUT_MAX, "WDTERR_TRANGE_ID"};
constexpr Range kInterval = {WDT_INTERVAL_MIN, WDT_INTERVAL_MAX, "WDTERR_IRANGE_ID"};

std::string range_message(const Range& range) {
    return format_text(text(range.error), {static_cast<int>(range.lowest), static_cast<int>(range.highest)},
                       kMessageBytes);
}

bool contains(const Range& range, std::uint32_t value) {
    return value - range.lowest <= range.highest - range.lowest;
}

struct Settings {
    std::string timeout_message;
    std::string interval_message;
    WdtRecord record{};
    WdtRecord as_read{};
    bool readable = false;
    HangActions actions;
};

void read_settings(Settings& settings) {
    settings.timeout_message = range_message(kTimeout);
    settings.interval_message = range_message(kInterval);
    settings.readable = GetAllofWDT(&settings.record) != 0;
    if (!settings.readable) ZEL_TRACE_AS(kPanel, TRACE_LEVEL_ERROR, "Can't get WDT's settings!");
    settings.as_read = settings.record;
    if (!settings.readable)
        settings.record.qwHangEnable = 0;
    else if (!split_action_code(settings.record.qwTimeoutAct, settings.actions))
        ZEL_TRACE_AS(kPanel, TRACE_LEVEL_TRACE, "Can't get WDT's actions!");
}

int CmpWDTChanged(WdtRecord before, WdtRecord after) {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    if (before.qwHangEnable != after.qwHangEnable || before.qwInterval != after.qwInterval ||
        before.qwTimeout != after.qwTimeout || before.qwTimeoutAct != after.qwTimeoutAct) {
        ZEL_TRACE(TRACE_LEVEL_TRACE, "<params changed.return 1.");
        return 1;
    }
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<return %d.", 0);
    return 0;
}

/// Takes both entries, the time-out first. False, with a message, at the first that is out of range.
bool take_entries(const HangDialog& dialog, Settings& settings) {
    const std::uint32_t timeout = dialog.seconds(0);
    const std::uint32_t interval = dialog.seconds(1);
    if (!contains(kTimeout, timeout)) {
        show_message("TITTLE_WDT_ID", settings.timeout_message);
        return false;
    }
    if (!contains(kInterval, interval)) {
        show_message("TITTLE_WDT_ID", settings.interval_message);
        return false;
    }
    settings.record.qwTimeout = timeout;
    settings.record.qwInterval = interval;
    return true;
}

/// Writes what changed. True when the panel may close.
bool write_settings(const HangDialog& dialog, Settings& settings) {
    WdtRecord& record = settings.record;
    record.qwHangEnable = dialog.is_enabled() ? 1 : 0;
    if (dialog.is_enabled() && !take_entries(dialog, settings)) return false;
    if (!settings.readable) return true;
    record.qwTimeoutAct = join_action_code(dialog.actions(), record.qwTimeoutAct);
    if (CmpWDTChanged(settings.as_read, record) == 0) return true;
    if (SetAllofWDT(&record) == 0) return true;
    show_message("TITTLE_WDT_ID", "Can't set WDT's settings !");
    ZEL_TRACE_AS(kPanel, TRACE_LEVEL_ERROR, "SetAllofWDT failed.");
    return false;
}

/// What an entry shows: "0" of settings that could not be read.
std::string shown(const Settings& settings, std::uint64_t seconds) {
    return settings.readable ? std::to_string(seconds) : "0";
}

}  // namespace

void WDTPanel() {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    Settings settings;
    read_settings(settings);
    const bool enabled = settings.record.qwHangEnable != 0;
    if (enabled) ZEL_TRACE(TRACE_LEVEL_TRACE, "anchor = 0");
    {
        HangDialog dialog({.title = "TITTLE_WDT_ID",
                           .check_label = "WDT_HANG_ID",
                           .fields = {{"SHUTDOWN_TIMEOUT_ID", shown(settings, settings.record.qwTimeout)},
                                      {"WDT_INTERVAL_ID", shown(settings, settings.record.qwInterval)}},
                           .entry_width = kEntryWidth,
                           .enabled = enabled,
                           .readable = settings.readable,
                           .actions = settings.actions});
        dialog.run_until([&] { return write_settings(dialog, settings); });
    }
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<");
}

}  // namespace zel
