// SPDX-License-Identifier: GPL-3.0-or-later
// The one table of panels: the main menu's rows, the panels behind them and how many rows there are all come
// from it.
#pragma once

#include <cstdint>
#include <vector>

namespace zel {

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

/// What the probes decided, with what start-up learned about this server. No rows.
MenuFacts menu_facts(std::int32_t show_voltage, std::int32_t show_temperature, std::int32_t show_moval);

using OpenPanel = void (*)();

/// The number of rows that these facts make; `rows` itself is not looked at.
std::int32_t count_menu_rows(const MenuFacts& facts);

/// The catalogue identifier of each row's label; null for a blank row.
std::vector<const char*> menu_labels(const MenuFacts& facts);

/// What opens a row's panel, null for a row that does nothing. On a fault-tolerant server rows open by a
/// table of their own, which does not follow the labels.
OpenPanel panel_of_row(const MenuFacts& facts, std::uint32_t row);

}  // namespace zel
