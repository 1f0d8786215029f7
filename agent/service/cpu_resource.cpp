// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <vector>

#include "resources.h"
#include "system/cpu_count.h"

namespace zel::service {
namespace {

struct CpuSettings {
    CpuCycleRecord cycle;
    std::vector<CpuThresholdRow> rows;  // row 0 is TOTAL
};

std::optional<CpuSettings> read_cpu() {
    const auto cycle = settings::read_record(settings::kCpuCycle);
    if (!cycle) return std::nullopt;
    CpuSettings settings{.cycle = *cycle, .rows = {}};
    const int cpus = system::count_cpus();
    for (int row = 0; row <= cpus; ++row)
        settings.rows.push_back(settings::read_cpu_row(row));
    return settings;
}

Changes cpu_changes(const CpuSettings& before, const CpuSettings& after) {
    Changes changes;
    note_record_changes(changes, settings::kCpuCycle, before.cycle, after.cycle);
    for (std::size_t row = 0; row < std::min(before.rows.size(), after.rows.size()); ++row) {
        note_record_changes(changes, settings::kCpuRow, before.rows[row], after.rows[row],
                            settings::cpu_row_name(static_cast<int>(row)) + ' ');
    }
    return changes;
}

}  // namespace

Reload cpu_resource() {
    return reloading(read_cpu, cpu_changes);
}

}  // namespace zel::service
