// SPDX-License-Identifier: GPL-3.0-or-later
// Names under which CPU settings stand in the registry, for the library that reads and writes them and the
// service that tells what changed.
//
//   SOFTWARE/QUD/ZELAgent/CPU         SamplingInterval, Cycle (seconds)
//   SOFTWARE/QUD/ZELAgent/CPU/TOTAL   Enable (0 or 1), FatalReport ... WarningReset (percent)
//   SOFTWARE/QUD/ZELAgent/CPU/CPU1    the same for the first CPU, and so on
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "zel/access_monitor.h"

namespace zel::settings {

/// One value of a row: its name, its field, the greatest sane number (the least is 0), and what a missing or
/// insane one reads as.
struct CpuRowValue {
    const char* name;
    std::int32_t CpuThresholdRow::*field;
    std::int32_t greatest;
    std::int32_t fallback;
};

inline constexpr std::array kCpuRowValues{
    CpuRowValue{"Enable", &CpuThresholdRow::enable, 1, 0},
    CpuRowValue{"FatalReport", &CpuThresholdRow::fatalReport, 100, 95},
    CpuRowValue{"FatalReset", &CpuThresholdRow::fatalReset, 100, 90},
    CpuRowValue{"WarningReport", &CpuThresholdRow::warningReport, 100, 85},
    CpuRowValue{"WarningReset", &CpuThresholdRow::warningReset, 100, 80},
};

inline constexpr const char* kCpuInterval = "SamplingInterval";
inline constexpr const char* kCpuCycle = "Cycle";

/// "TOTAL" for row 0, "CPU<n>" for row n.
inline std::string cpu_row_name(int row) {
    return row == 0 ? "TOTAL" : "CPU" + std::to_string(row);
}

}  // namespace zel::settings
