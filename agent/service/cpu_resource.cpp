// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <vector>

#include "resources.h"
#include "settings/cpu_settings.h"

namespace zel::service {
namespace {

struct CpuSettings {
    CpuSettingsRecord common;
    std::vector<CpuThresholdRow> rows;  // row 0 is TOTAL
};

std::optional<CpuSettings> read_cpu() {
    CpuSettings settings{};
    if (GetCpuDataFromRegistry(&settings.common) == 1) return std::nullopt;
    settings.rows.resize(static_cast<std::size_t>(settings.common.cpuCount) + 1);
    for (std::size_t row = 0; row < settings.rows.size(); ++row) {
        if (GetCpuThreshold(static_cast<int>(row), &settings.rows[row]) == 0) return std::nullopt;
    }
    return settings;
}

Changes cpu_changes(const CpuSettings& before, const CpuSettings& after) {
    Changes changes;
    const auto note = [&](const std::string& what, int was, int is) {
        note_change(changes, what, std::to_string(was), std::to_string(is));
    };
    note(settings::kCpuInterval, before.common.samplingInterval, after.common.samplingInterval);
    note(settings::kCpuCycle, before.common.cycleSeconds, after.common.cycleSeconds);
    for (std::size_t row = 0; row < std::min(before.rows.size(), after.rows.size()); ++row) {
        const std::string name = settings::cpu_row_name(static_cast<int>(row));
        for (const auto& value : settings::kCpuRowValues) {
            note(name + ' ' + value.name, before.rows[row].*value.field, after.rows[row].*value.field);
        }
    }
    return changes;
}

}  // namespace

Reread cpu_resource() {
    return rereading(read_cpu, cpu_changes);
}

}  // namespace zel::service
