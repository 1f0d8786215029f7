// SPDX-License-Identifier: GPL-3.0-or-later
#include "menu_rows.h"

#include <array>

namespace zel {

namespace {

constexpr std::uint32_t kLastRow = 12;
constexpr std::uint32_t kLastFaultTolerantRow = 8;
/// Where the rows begin that depend on the probes.
constexpr std::uint32_t kFirstProbedRow = 7;
constexpr std::uint32_t kFirstProbedRowFaultTolerant = 5;

bool has_blade_row(const MenuFacts& facts) {
    return facts.blade == 1 && facts.shared_sensor_status >= 0;
}

/// Sets labels by row; rows outside the menu are left out.
class Labels {
  public:
    explicit Labels(std::int32_t rows) : ids_(rows > 0 ? static_cast<std::size_t>(rows) : 0, nullptr) {}

    void set(std::int32_t row, std::initializer_list<const char*> ids) {
        for (const char* id : ids) {
            if (row >= 0 && static_cast<std::size_t>(row) < ids_.size())
                ids_[static_cast<std::size_t>(row)] = id;
            ++row;
        }
    }
    std::vector<const char*> take() { return std::move(ids_); }

  private:
    std::vector<const char*> ids_;
};

void set_probed_labels(Labels& labels, const MenuFacts& facts) {
    std::int32_t row = kFirstProbedRow;
    if (facts.show_temperature == 1) labels.set(row++, {"MAIN_TABNAME_TEMP_ID"});
    if (facts.show_voltage == 1) labels.set(row, {"MAIN_TABNAME_VOL_ID"});
    // Counted from the end, also where the row count does not fit the rows above.
    if (has_blade_row(facts))
        labels.set(facts.rows - 3,
                   {"MAIN_TABNAME_WDT_ID", "MAIN_TABNAME_SHUTDOWN_ID", "MAIN_TABNAME_BLADE_ID"});
    else
        labels.set(facts.rows - 2, {"MAIN_TABNAME_WDT_ID", "MAIN_TABNAME_SHUTDOWN_ID"});
}

/// The panels that depend on the probes, in order.
std::vector<Panel> probed_panels(const MenuFacts& facts) {
    std::vector<Panel> panels;
    if (facts.show_temperature != 0) panels.push_back(Panel::temperature);
    if (facts.show_voltage != 0) panels.push_back(Panel::voltage);
    panels.push_back(Panel::watchdog);
    panels.push_back(Panel::shutdown);
    if (facts.blade == 1 && facts.fault_tolerant != 1) panels.push_back(Panel::blade);
    return panels;
}

Panel probed_panel(const MenuFacts& facts, std::uint32_t index) {
    const std::vector<Panel> panels = probed_panels(facts);
    return index < panels.size() ? panels[index] : Panel::none;
}

Panel fault_tolerant_panel(const MenuFacts& facts, std::uint32_t row) {
    if (row > kLastFaultTolerantRow) return Panel::unsupported_silent;
    if (row >= kFirstProbedRowFaultTolerant) return probed_panel(facts, row - kFirstProbedRowFaultTolerant);
    return row == 3 ? Panel::filesystem : Panel::lan;
}

Panel moval_panel(const MenuFacts& facts, std::uint32_t row) {
    static constexpr std::array kPanels = {Panel::moval, Panel::temperature, Panel::voltage, Panel::watchdog,
                                           Panel::shutdown};
    const std::uint32_t index = row - kFirstProbedRow;
    if (index < kPanels.size()) return kPanels[index];
    return facts.blade == 1 ? Panel::blade : Panel::none;
}

}  // namespace

std::vector<const char*> menu_labels(const MenuFacts& facts) {
    Labels labels(facts.rows);
    labels.set(0, {"MAIN_TABNAME_GENERAL_ID", "MAIN_TABNAME_CPU_ID", "MAIN_TABNAME_SYSLOG_ID"});
    if (facts.nas == 1) {
        labels.set(3, {"MAIN_TABNAME_TEMP_ID", "MAIN_TABNAME_VOL_ID", "MAIN_TABNAME_WDT_ID",
                       "MAIN_TABNAME_SHUTDOWN_ID"});
        return labels.take();
    }
    if (facts.fault_tolerant == 1)
        labels.set(3, {"MAIN_TABNAME_FILESYS_ID", "MAIN_TABNAME_LAN_ID"});
    else
        labels.set(3, {"MAIN_TABNAME_STORAGE_ID", "MAIN_TABNAME_FILESYS_ID", "MAIN_TABNAME_LAN_ID",
                       "MAIN_TABNAME_MYLEX_ID"});
    if (facts.show_moval == 1) {
        labels.set(kFirstProbedRow, {"MAIN_TABNAME_MOVAL_ID", "MAIN_TABNAME_TEMP_ID", "MAIN_TABNAME_VOL_ID",
                                     "MAIN_TABNAME_WDT_ID", "MAIN_TABNAME_SHUTDOWN_ID"});
        if (has_blade_row(facts)) labels.set(static_cast<std::int32_t>(kLastRow), {"MAIN_TABNAME_BLADE_ID"});
    } else {
        set_probed_labels(labels, facts);
    }
    return labels.take();
}

Panel panel_of_row(const MenuFacts& facts, std::uint32_t row) {
    static constexpr std::array kFirst = {Panel::general, Panel::cpu, Panel::syslog};
    static constexpr std::array kNas = {Panel::temperature, Panel::voltage, Panel::watchdog, Panel::shutdown};
    static constexpr std::array kStock = {Panel::storage, Panel::filesystem, Panel::lan, Panel::mylex};
    if (row < kFirst.size()) return kFirst[row];
    if (facts.fault_tolerant == 1) return fault_tolerant_panel(facts, row);
    if (row < kFirstProbedRow) return facts.nas == 1 ? kNas[row - 3] : kStock[row - 3];
    if (row > kLastRow) return Panel::unsupported;
    return facts.show_moval == 1 ? moval_panel(facts, row) : probed_panel(facts, row - kFirstProbedRow);
}

}  // namespace zel
