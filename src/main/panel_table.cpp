// SPDX-License-Identifier: GPL-3.0-or-later
#include "panel_table.h"

#include <agntconf/msgwindow.h>
#include <agntconf/startup_facts.h>
#include <zel/trace.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <string_view>

#include "../control/blade.h"
#include "../control/general_ipmi.h"
#include "../control/moval_ipmi.h"
#include "../control/shutdown_ipmi.h"
#include "../control/wdt_ipmi.h"
#include "../ipmi/temp_ipmi.h"
#include "../ipmi/voltage_ipmi.h"
#include "../monitor/cpu.h"
#include "../monitor/filesystem.h"
#include "../monitor/lan.h"
#include "../monitor/mylex.h"
#include "../monitor/storage.h"
#include "../monitor/syslog.h"
#include "screen.h"

namespace zel {

namespace {

constexpr char kModule[] = "main";
constexpr char kMenu[] = "EditParameter";  // the function under whose name rows trace

void open_cpu_panel() {
    use_cpu_list_colours(true);
    CpuPanel();
    use_cpu_list_colours(false);
}

void open_blade_panel() {
    ZEL_TRACE_AS(kMenu, TRACE_LEVEL_TRACE, "Open  BladePanel()");
    BladePanel();
}

bool always(const MenuFacts&) {
    return true;
}
bool has_moval(const MenuFacts& facts) {
    return facts.show_moval == 1;
}
// Where maintenance mode is shown, both kinds of sensors are, too.
bool has_temperature(const MenuFacts& facts) {
    return has_moval(facts) || facts.show_temperature == 1;
}
bool has_voltage(const MenuFacts& facts) {
    return has_moval(facts) || facts.show_voltage == 1;
}
bool shares_sensors(const MenuFacts& facts) {
    return facts.blade == 1 && facts.shared_sensor_status >= 0;
}

struct PanelRow {
    const char* label;
    OpenPanel open;
    bool (*shown)(const MenuFacts& facts);
};

constexpr std::array kPanels = {
    PanelRow{"MAIN_TABNAME_GENERAL_ID", GeneralPanel, always},
    PanelRow{"MAIN_TABNAME_CPU_ID", open_cpu_panel, always},
    PanelRow{"MAIN_TABNAME_SYSLOG_ID", SyslogPanel, always},
    PanelRow{"MAIN_TABNAME_STORAGE_ID", [] { StoragePanel(ZelVersion); }, always},
    PanelRow{"MAIN_TABNAME_FILESYS_ID", FilePanel, always},
    PanelRow{"MAIN_TABNAME_LAN_ID", LanPanel, always},
    PanelRow{"MAIN_TABNAME_MYLEX_ID", MylexPanel, always},
    PanelRow{"MAIN_TABNAME_MOVAL_ID", MOVALPanel_IPMI, has_moval},
    PanelRow{"MAIN_TABNAME_TEMP_ID", [] { TemperaturePanel_IPMI(ZelVersion); }, has_temperature},
    PanelRow{"MAIN_TABNAME_VOL_ID", [] { VoltagePanel(ZelVersion); }, has_voltage},
    PanelRow{"MAIN_TABNAME_WDT_ID", WDTPanel, always},
    PanelRow{"MAIN_TABNAME_SHUTDOWN_ID", ShutdownPanel, always},
    PanelRow{"MAIN_TABNAME_BLADE_ID", open_blade_panel, shares_sensors},
};

/// The panel from which on rows stand at the menu's end.
constexpr std::string_view kFirstAtEnd = "MAIN_TABNAME_WDT_ID";

// The exceptions: two kinds of server have rows of their own from this one on, in place of the table's.
constexpr std::ptrdiff_t kFirstOwnRow = 3;
using OwnRows = std::array<const char*, 4>;
constexpr OwnRows kNasRows = {"MAIN_TABNAME_TEMP_ID", "MAIN_TABNAME_VOL_ID", "MAIN_TABNAME_WDT_ID",
                              "MAIN_TABNAME_SHUTDOWN_ID"};
/// As it is labelled, blank rows included. It opens without the blanks: the rows after them come two earlier.
constexpr OwnRows kFaultTolerantRows = {"MAIN_TABNAME_FILESYS_ID", "MAIN_TABNAME_LAN_ID", nullptr, nullptr};
constexpr std::uint32_t kLastFaultTolerantRow = 8;

using Rows = std::vector<const PanelRow*>;  // null: a blank row

Rows shown_rows(const MenuFacts& facts) {
    Rows rows;
    for (const PanelRow& panel : kPanels) {
        if (panel.shown(facts)) rows.push_back(&panel);
    }
    return rows;
}

void put_own_rows(Rows& rows, const OwnRows& own) {
    std::ranges::transform(own, rows.begin() + kFirstOwnRow, [](const char* label) -> const PanelRow* {
        if (label == nullptr) return nullptr;
        return std::ranges::find(kPanels, std::string_view(label), &PanelRow::label);
    });
}

/// Where the rows at the menu's end begin.
std::ptrdiff_t first_at_end(const Rows& rows) {
    const auto is_it = [](const PanelRow* row) { return row != nullptr && row->label == kFirstAtEnd; };
    return std::ranges::find_if(rows, is_it) - rows.begin();
}

/// Makes it `count` rows by blank ones, or fewer ones, before those at the end.
void stretch(Rows& rows, std::ptrdiff_t count) {
    const auto missing = count - std::ssize(rows);
    const auto end_part = rows.begin() + first_at_end(rows);
    if (missing >= 0) {
        rows.insert(end_part, static_cast<std::size_t>(missing), nullptr);
    } else {
        const auto first = rows.begin() + std::max<std::ptrdiff_t>(0, end_part - rows.begin() + missing);
        rows.erase(first, first - missing);
    }
}

Rows labelled_rows(const MenuFacts& facts) {
    const auto count = static_cast<std::size_t>(std::max(0, facts.rows));
    Rows rows = shown_rows(facts);
    if (facts.nas == 1) {
        put_own_rows(rows, kNasRows);
        rows.resize(kFirstOwnRow + kNasRows.size());
    } else {
        if (facts.fault_tolerant == 1) put_own_rows(rows, kFaultTolerantRows);
        if (!has_moval(facts)) stretch(rows, static_cast<std::ptrdiff_t>(count));
    }
    rows.resize(count);
    return rows;
}

Rows opened_rows(MenuFacts facts) {
    facts.shared_sensor_status = 0;  // decides about the label alone
    if (facts.fault_tolerant == 1) facts.show_moval = facts.blade = 0;
    Rows rows = shown_rows(facts);
    if (facts.fault_tolerant == 1) {
        put_own_rows(rows, kFaultTolerantRows);
        std::erase(rows, nullptr);
    } else if (facts.nas == 1) {
        put_own_rows(rows, kNasRows);
    }
    return rows;
}

void tell_unsupported() {
    msgWindow("Warning", "Return", "Not Supported yet!");
}

void trace_and_tell_unsupported() {
    ZEL_TRACE_AS(kMenu, TRACE_LEVEL_ERROR, "Not Supported.");
    tell_unsupported();
}

}  // namespace

MenuFacts menu_facts(std::int32_t show_voltage, std::int32_t show_temperature, std::int32_t show_moval) {
    return {
        .show_voltage = show_voltage,
        .show_temperature = show_temperature,
        .show_moval = show_moval,
        .rows = 0,
        .fault_tolerant = gZelIsFt,
        .nas = iNASFlag,
        .blade = iBladeFlag,
        .shared_sensor_status = GetSharedSensorStatus_Value,
    };
}

std::int32_t count_menu_rows(const MenuFacts& facts) {
    if (facts.nas == 1) return kFirstOwnRow + static_cast<std::int32_t>(kNasRows.size());
    return static_cast<std::int32_t>(shown_rows(facts).size());
}

std::vector<const char*> menu_labels(const MenuFacts& facts) {
    std::vector<const char*> labels;
    for (const PanelRow* row : labelled_rows(facts))
        labels.push_back(row != nullptr ? row->label : nullptr);
    return labels;
}

OpenPanel panel_of_row(const MenuFacts& facts, std::uint32_t row) {
    const bool fault_tolerant = facts.fault_tolerant == 1;
    if (fault_tolerant && row > kLastFaultTolerantRow) return tell_unsupported;
    if (!fault_tolerant && row >= kPanels.size()) return trace_and_tell_unsupported;
    const Rows rows = opened_rows(facts);
    return row < rows.size() ? rows[row]->open : nullptr;
}

}  // namespace zel
