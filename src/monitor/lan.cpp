// SPDX-License-Identifier: GPL-3.0-or-later
#include "lan.h"

#include <agntconf/dialog.h>
#include <agntconf/messages.h>
#include <agntconf/readstrfile.h>
#include <agntconf/widgets.h>
#include <libintl.h>
#include <zel/access_monitor.h>
#include <zel/trace.h>

#include <algorithm>
#include <array>
#include <clocale>
#include <string>

namespace zel {

namespace {

constexpr char kModule[] = "lan";
constexpr char kPanel[] = "LanPanel";
constexpr int kEntryWidth = 5;

/// One row of the dialog, in the order of the record.
struct Field {
    const char* label;
    std::int32_t LanSettingsRecord::*value;
    int invalid_bit;
    const char* error;
    int lowest;  // the bounds told in the message; the agent judges
    int highest;
};
constexpr std::array<Field, 4> kFields = {{{"CPU_SAMPLE_ID", &LanSettingsRecord::interval, LAN_TEST_INTERVAL,
                                            "LANERR_INTERVAL_ID", LAN_INTERVAL_MIN, LAN_INTERVAL_MAX},
                                           {"LAN_HW_ID", &LanSettingsRecord::hardware, LAN_TEST_HARDWARE,
                                            "LANERR_HW_ID", LAN_HARDWARE_MIN, LAN_HARDWARE_MAX},
                                           {"LAN_RETRY_ID", &LanSettingsRecord::retry, LAN_TEST_RETRY,
                                            "LANERR_RETRY_ID", LAN_RETRY_MIN, LAN_RETRY_MAX},
                                           {"LAN_ABORT_ID", &LanSettingsRecord::abort_, LAN_TEST_ABORT,
                                            "LANERR_ABORT_ID", LAN_ABORT_MIN, LAN_ABORT_MAX}}};

using ErrorTexts = std::array<std::string, kFields.size()>;
using Components = std::array<newtComponent, kFields.size()>;

struct Widgets {
    Components entries{};
    OkCancel buttons;
};

ErrorTexts format_errors() {
    ErrorTexts errors;
    std::transform(kFields.begin(), kFields.end(), errors.begin(), [](const Field& field) {
        return format_text(text(field.error), {field.lowest, field.highest});
    });
    return errors;
}

/// The stored settings; zeros, after a message, when they cannot be read.
LanSettingsRecord read_settings() {
    LanSettingsRecord settings{};
    const int result = GetLanDataFromRegistry(&settings);
    ZEL_TRACE_AS(kPanel, TRACE_LEVEL_INFO, "GetLanDataFromRegistry() return %d", result);
    if (result == 1) {
        ZEL_TRACE_AS(kPanel, TRACE_LEVEL_ERROR, "GetLanDataFromRegistry() failed.");
        show_error("Open Registry Failed!");
    }
    return settings;
}

void build(Dialog& dialog, const LanSettingsRecord& settings, Widgets& widgets) {
    Components labels{};
    for (std::size_t i = 0; i < kFields.size(); ++i) {
        labels[i] = dialog.label(text(kFields[i].label));
        widgets.entries[i] = dialog.number_entry(std::to_string(settings.*kFields[i].value), kEntryWidth);
    }
    dialog.label(dcgettext(nullptr, " ", LC_MESSAGES));  // made and not placed
    widgets.buttons = dialog.ok_cancel();

    newtGrid fields = dialog.grid(2, 4, {});
    for (int row = 0; row < 4; ++row) {
        const auto i = static_cast<std::size_t>(row);
        const int above = row == 0 ? 0 : 1;
        dialog.place(fields, {0, row, labels[i], kLeft, {.top = above}});
        dialog.place(fields, {1, row, widgets.entries[i], kLeft, {.left = 2, .top = above}});
    }
    newtGrid outer =
        dialog.grid(1, 2, {{0, 0, fields, kLeft}, {0, 1, widgets.buttons.row, kLeft, {.left = 1, .top = 1}}});
    for (newtComponent label : labels)
        dialog.add({label});
    for (newtComponent entry : widgets.entries)
        dialog.add({entry});
    dialog.add({widgets.buttons.ok, widgets.buttons.cancel});
    dialog.open(outer, text("TITTLE_LAN_ID"), {15, 128});
}

/// Takes the four entries, unless one is empty.
bool read_entries(const Widgets& widgets, LanSettingsRecord& settings) {
    if (std::any_of(widgets.entries.begin(), widgets.entries.end(), entry_is_empty)) {
        show_message("TITTLE_LAN_ID", text("INPUT_NULL_ID"));
        return false;
    }
    for (std::size_t i = 0; i < kFields.size(); ++i)
        settings.*kFields[i].value = entry_number(widgets.entries[i]);
    return true;
}

/// Has the agent judge the settings; every failing field gets its own message.
bool are_valid(const LanSettingsRecord& settings, const ErrorTexts& errors) {
    const int problems = TestInputLanParameter(&settings);
    ZEL_TRACE_AS(kPanel, TRACE_LEVEL_INFO, "TestInputLanParameter return 0x%x",
                 static_cast<unsigned>(problems));
    for (std::size_t i = 0; i < kFields.size(); ++i) {
        if ((problems & kFields[i].invalid_bit) != 0) show_message("TITTLE_LAN_ID", errors[i]);
    }
    return problems == 0;
}

bool write_settings(const Widgets& widgets, LanSettingsRecord& settings, const ErrorTexts& errors) {
    if (!read_entries(widgets, settings) || !are_valid(settings, errors)) return false;
    const int written = PutLanThreshold(&settings);
    ZEL_TRACE_AS(kPanel, TRACE_LEVEL_INFO, "PutLanThreshold return %d", written);
    return written != 0;
}

}  // namespace

void LanPanel() {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    const ErrorTexts errors = format_errors();
    LanSettingsRecord settings = read_settings();
    {
        Widgets widgets;
        Dialog dialog;
        build(dialog, settings, widgets);
        dialog.run_until(widgets.buttons, [&] { return write_settings(widgets, settings, errors); });
    }
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<");
}

}  // namespace zel
