// SPDX-License-Identifier: GPL-3.0-or-later
// Which rows the main menu has on which kind of server, and which panel each opens.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zel {

enum class Panel {
    none,  ///< The row does nothing.
    general,
    cpu,
    syslog,
    storage,
    filesystem,
    lan,
    mylex,
    moval,
    temperature,
    voltage,
    watchdog,
    shutdown,
    blade,
    unsupported,         ///< A row beyond the table, traced and told to the user.
    unsupported_silent,  ///< The same without a trace line.
};

/// The facts that decide; flags are 0 or 1.
struct MenuFacts {
    std::int32_t show_voltage;
    std::int32_t show_temperature;
    std::int32_t show_moval;
    std::int32_t rows;  ///< The number of rows, labelled or not.
    std::int32_t fault_tolerant;
    std::int32_t nas;
    std::int32_t blade;
    std::int32_t shared_sensor_status;
};

/// The catalogue identifier of each row's label; null for a blank row.
std::vector<const char*> menu_labels(const MenuFacts& facts);

/// The panel that a row opens. On a fault-tolerant server rows open by a table of their own, which does
/// not follow the labels.
Panel panel_of_row(const MenuFacts& facts, std::uint32_t row);

}  // namespace zel
