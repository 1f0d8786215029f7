// SPDX-License-Identifier: GPL-3.0-or-later
#include "shutdown_ipmi.h"

#include <agntconf/messages.h>
#include <agntconf/readstrfile.h>
#include <zel/access_control.h>
#include <zel/trace.h>

#include <string>

#include "hang_dialog.h"

namespace zel {

namespace {

constexpr char kModule[] = "shutdown_ipmi";
constexpr char kPanel[] = "ShutdownPanel";
constexpr std::uint32_t kShortest = SHUTDOWN_TIMEOUT_MIN;
constexpr std::uint32_t kLongest = SHUTDOWN_TIMEOUT_MAX;
constexpr int kEntryWidth = 7;
constexpr std::size_t kMessageBytes = 79;

struct Settings {
    ShutdownRecord record{};
    bool readable = false;
    HangActions actions;
    std::string timeout_text = "0";
    std::string range_message;
};

Settings read_settings() {
    Settings settings;
    settings.readable = GetAllofShutDown(&settings.record) != 0;
    if (!settings.readable) {
        ZEL_TRACE_AS(kPanel, TRACE_LEVEL_ERROR, "GetAllofShutDown() failed!");
        settings.record.dwHangEnable = 0;
        return settings;
    }
    settings.range_message = format_text(
        text("SDERR_RANGE_ID"), {static_cast<int>(kShortest), static_cast<int>(kLongest)}, kMessageBytes);
    settings.timeout_text = std::to_string(settings.record.dwTimeout);
    if (!split_action_code(settings.record.dwTimeoutAct, settings.actions))
        ZEL_TRACE_AS(kPanel, TRACE_LEVEL_ERROR, "GetTimeoutAct() failed.");
    return settings;
}

/// Takes time-out and actions from the dialog. False, with a message, when the time-out is out of range.
bool take_entries(const HangDialog& dialog, Settings& settings) {
    const std::uint32_t timeout = dialog.seconds(0);
    if (timeout - kShortest > kLongest - kShortest) {
        show_message("TITTLE_SHUTDOWN_ID", settings.range_message);
        return false;
    }
    settings.record.dwTimeout = timeout;
    settings.record.dwTimeoutAct =
        static_cast<std::uint32_t>(join_action_code(dialog.actions(), settings.record.dwTimeoutAct));
    return true;
}

/// Writes the settings. True when the panel may close.
bool write_settings(const HangDialog& dialog, Settings& settings) {
    if (!dialog.is_enabled() && !settings.readable) return true;
    settings.record.dwHangEnable = dialog.is_enabled() ? 1 : 0;
    if (dialog.is_enabled() && !take_entries(dialog, settings)) return false;
    if (SetAllofShutDown(&settings.record) == 0) return true;
    show_message("TITTLE_SHUTDOWN_ID", "Can't set shutdown's settings !");
    ZEL_TRACE_AS(kPanel, TRACE_LEVEL_ERROR, "SetAllofShutDown() failed!");
    return false;
}

}  // namespace

void ShutdownPanel() {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    Settings settings = read_settings();
    {
        HangDialog dialog({.title = "TITTLE_SHUTDOWN_ID",
                           .check_label = "SHUTDOWN_HANG_ID",
                           .fields = {{"SHUTDOWN_TIMEOUT_ID", settings.timeout_text}},
                           .entry_width = kEntryWidth,
                           .enabled = settings.record.dwHangEnable != 0,
                           .readable = settings.readable,
                           .actions = settings.actions});
        dialog.run_until([&] { return write_settings(dialog, settings); });
    }
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<");
}

}  // namespace zel
