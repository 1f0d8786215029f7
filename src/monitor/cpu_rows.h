// SPDX-License-Identifier: GPL-3.0-or-later
// The rows of the CPU panel while it is open: 0 is the whole machine, n is CPU n.
#pragma once

#include <zel/access_monitor.h>

#include <array>
#include <cstdint>

namespace zel::cpu {

/// TOTAL and CPU 1 to 9. The CPUs of larger machines stand behind them, as many as there are; `row_at` has
/// all.
extern std::array<CpuThresholdRow, 10> keepdata;
extern std::int32_t TotalCpuCount;  ///< Rows 0 to this one exist.
extern std::int32_t current;        ///< The row whose values the panel's entries show.

CpuThresholdRow& row_at(std::int32_t row);
bool row_exists(std::intptr_t row);

/// TOTAL as the settings have it, which is all there is when no CPU is counted.
CpuThresholdRow total_of(const CpuSettingsRecord& settings);

/// Reads the settings and every row. False, with nothing to show, when the agent cannot tell them.
bool read_settings(CpuSettingsRecord& settings);

}  // namespace zel::cpu
