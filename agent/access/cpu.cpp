// SPDX-License-Identifier: GPL-3.0-or-later
// CPU load: settings in the registry, the CPU count from the system.
#include <algorithm>
#include <atomic>
#include <string>

#include "client/service_client.h"
#include "settings/registry_values.h"
#include "store/registry.h"
#include "system/cpu_count.h"
#include "zel/access_monitor.h"
#include "zel/tracelog.h"

namespace {

namespace settings = zel::settings;
namespace client = zel::client;
namespace registry = zel::store::registry;

/// The CPUs as they were last counted, 0 before the first time: hundreds of rows are not worth as many
/// counts.
std::atomic<int> counted_cpus = 0;

int recount() {
    return counted_cpus = zel::system::count_cpus();
}

bool row_exists(int row) {
    const int known = counted_cpus;
    return row >= 0 && row <= (known > 0 ? known : recount());
}

/// True when the row reads as `values` without writing anything. What is damaged reads as its default, but is
/// to be mended.
bool stands_already(int row, const CpuThresholdRow& values) {
    if (registry::check() != zel::store::Status::ok) return false;
    const auto& table = row == 0 ? settings::kCpuTotal : settings::kCpuRow;
    return std::ranges::all_of(table.fields, [&, key = settings::cpu_row_key(row)](const auto& field) {
        const registry::Value fallback = field.value.fallback;
        const auto wanted = static_cast<std::uint32_t>(values.*field.member);
        return registry::get(key, field.value.name).value_or(fallback) == registry::Value(wanted);
    });
}

/// Writes a record and has the service reload it.
template <class Table>
int write(const Table& table, const typename Table::Record& record, const std::string& key) {
    if (!settings::write_record(table, record, key)) return 0;
    client::notify("reset cpu");  // a missing service reads the settings when it starts
    return 1;
}

}  // namespace

extern "C" int GetCpuDataFromRegistry(CpuSettingsRecord* settings) try {
    if (!settings || !settings::registry_readable()) return 1;
    const auto cycle = settings::read_record(settings::kCpuCycle, settings::kCpuCycle.key);
    const CpuThresholdRow total = settings::read_cpu_row(0);
    *settings = {.samplingInterval = cycle.samplingInterval,
                 .cycleSeconds = cycle.cycleSeconds,
                 .initialRow = 0,
                 .totalEnable = total.enable,
                 .cpuCount = recount(),
                 .totalFatalReport = total.fatalReport,
                 .totalFatalReset = total.fatalReset,
                 .totalWarningReport = total.warningReport,
                 .totalWarningReset = total.warningReset,
                 .unused = 0};
    return 0;
} catch (...) {
    return 1;
}

extern "C" int GetCpuThreshold(int row, CpuThresholdRow* out) try {
    if (!out || !row_exists(row) || !settings::registry_readable()) return 0;
    *out = settings::read_cpu_row(row);
    return 1;
} catch (...) {
    return 0;
}

extern "C" int TestInputCpuParameter(const CpuThresholdRow* row) {
    return row ? settings::judge(*row) : CPU_TEST_ORDER;
}

extern "C" int PutCpuThreshold(int row, const CpuThresholdRow* values) try {
    if (!values || !row_exists(row)) return 0;
    // With hundreds of CPUs, most rows of a table that is saved are as they were.
    if (stands_already(row, *values)) return 1;
    return write(settings::kCpuRow, *values, settings::cpu_row_key(row));
} catch (...) {
    return 0;
}

extern "C" int PutCycletoReg(const CpuCycleRecord* cycle) try {
    return cycle ? write(settings::kCpuCycle, *cycle, settings::kCpuCycle.key) : 0;
} catch (...) {
    return 0;
}
