// SPDX-License-Identifier: GPL-3.0-or-later
#include "mylex.h"

#include <agntconf/dialog.h>
#include <agntconf/messages.h>
#include <agntconf/readstrfile.h>
#include <agntconf/widgets.h>
#include <zel/access_monitor.h>
#include <zel/trace.h>

#include <memory>
#include <new>
#include <optional>
#include <string>

namespace zel {

namespace {

constexpr char kModule[] = "mylex";
constexpr char kPanel[] = "MylexPanel";
constexpr int kEntryWidth = 5;
// What the message tells; the agent judges the range.

std::string interval_error() {
    return format_text(text("MYLEXERR_INTERVAL_ID"), {MYLEX_INTERVAL_MIN, MYLEX_INTERVAL_MAX});
}

/// The stored interval, or nothing after a message.
std::optional<std::int32_t> read_interval() {
    std::unique_ptr<MylexThresholdBlock> block(new (std::nothrow) MylexThresholdBlock{});
    if (!block) {
        show_call_failed("malloc");
        ZEL_TRACE_AS(kPanel, TRACE_LEVEL_RESOURCE, "<malloc failed.");
        return {};
    }
    const int result = Mylex_ReadThresholdFromFile(block.get());
    ZEL_TRACE_AS(kPanel, TRACE_LEVEL_INFO, "Mylex_ReadThresholdFromFile() return %d.", result);
    if (result == MYLEX_READ_FAILED) {
        show_call_failed("Mylex_ReadThresholdFromFile");
        block.reset();
        ZEL_TRACE_AS(kPanel, TRACE_LEVEL_ERROR, "<Mylex_ReadThresholdFromFile failed.");
        return {};
    }
    if (result == MYLEX_NO_FILE) {
        show_error("Can't open zelmlx.inf!");
        block.reset();
        ZEL_TRACE_AS(kPanel, TRACE_LEVEL_ERROR, "<open zelmlx.inf failed.");
        return {};
    }
    return block->interval;
}

struct Widgets {
    newtComponent entry = nullptr;
    OkCancel buttons;
};

void build(Dialog& dialog, std::int32_t interval, Widgets& widgets) {
    newtComponent label = dialog.label(text("CPU_SAMPLE_ID"));
    widgets.entry = dialog.number_entry(std::to_string(interval), kEntryWidth);
    widgets.buttons = dialog.ok_cancel({.left = 3}, {.left = 3, .right = 3});

    newtGrid field = dialog.grid(2, 1, {{0, 0, label, kTop}, {1, 0, widgets.entry, kLeft, {.left = 1}}});
    newtGrid outer = dialog.grid(1, 2, {{0, 0, field, kTop}, {0, 1, widgets.buttons.row, kTop, {.top = 1}}});
    dialog.add({label, widgets.entry, widgets.buttons.ok, widgets.buttons.cancel});
    dialog.open(outer, text("TITTLE_MYLEX_ID"), {15});
}

/// Hands a changed interval to the agent. True when the panel may close.
bool apply(std::int32_t interval, std::int32_t old_interval) {
    if (interval == old_interval) return true;
    const int result = ResetMylexService(interval);
    ZEL_TRACE_AS(kPanel, TRACE_LEVEL_INFO, "ResetMylexService() return %d.", result);
    switch (result) {
        case MYLEX_BAD_INTERVAL:
            show_message("TITTLE_MYLEX_ID", interval_error());
            return false;
        case MYLEX_WRITE_FAILED:
            show_message("TITTLE_MYLEX_ID", text("STORERR_WRITE_ID"));
            return false;
        case MYLEX_NO_SERVICE:
            show_message("TITTLE_MYLEX_ID", text("STORERR_DAEMON_ID"));
            return false;
        default:
            return true;
    }
}

}  // namespace

void MylexPanel() {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    const std::optional<std::int32_t> interval = read_interval();
    if (!interval) return;
    {
        Widgets widgets;
        Dialog dialog;
        build(dialog, *interval, widgets);
        dialog.run_until(widgets.buttons, [&] { return apply(entry_number(widgets.entry), *interval); });
    }
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<");
}

}  // namespace zel
