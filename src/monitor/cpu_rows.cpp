// SPDX-License-Identifier: GPL-3.0-or-later
#include "cpu_rows.h"

#include <zel/trace.h>

#include <algorithm>
#include <vector>

namespace zel::cpu {

std::array<CpuThresholdRow, 10> keepdata;
std::int32_t TotalCpuCount = 0;
std::int32_t current = 0;

namespace {

constexpr char kModule[] = "cpu";

/// From CPU 10 on.
std::vector<CpuThresholdRow> further_rows;

/// All CPUs that the agent counts, unless it counts more than any kernel runs.
std::int32_t credible_cpu_count(std::int32_t count) {
    constexpr std::int32_t kMost = 8192;
    if (count > kMost)
        ZEL_TRACE_AS("CpuPanel", TRACE_LEVEL_ERROR, "%d CPUs, only the first %d are shown.", count, kMost);
    return std::clamp(count, 0, kMost);
}

}  // namespace

CpuThresholdRow& row_at(std::int32_t row) {
    const auto index = static_cast<std::size_t>(row);
    if (index < keepdata.size()) return keepdata[index];
    return further_rows[index - keepdata.size()];
}

bool row_exists(std::intptr_t row) {
    return row >= 0 && row <= TotalCpuCount;
}

CpuThresholdRow total_of(const CpuSettingsRecord& settings) {
    return {.enable = settings.totalEnable != 0 ? 1 : 0,
            .fatalReport = settings.totalFatalReport,
            .fatalReset = settings.totalFatalReset,
            .warningReport = settings.totalWarningReport,
            .warningReset = settings.totalWarningReset};
}

bool read_settings(CpuSettingsRecord& settings) {
    settings = {};
    keepdata = {};
    if (GetCpuDataFromRegistry(&settings) == 1) return false;
    TotalCpuCount = credible_cpu_count(settings.cpuCount);
    const auto rows = static_cast<std::size_t>(TotalCpuCount) + 1;
    further_rows.assign(rows - std::min(rows, keepdata.size()), {});
    if (TotalCpuCount > 0) {
        for (std::int32_t row = 0; row <= TotalCpuCount; ++row)
            GetCpuThreshold(row, &row_at(row));
    }
    current = row_exists(settings.initialRow) ? settings.initialRow : 0;
    return true;
}

}  // namespace zel::cpu
