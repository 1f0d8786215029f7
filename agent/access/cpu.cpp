// SPDX-License-Identifier: GPL-3.0-or-later
// CPU load: settings in the registry, the CPU count from the system.
#include <algorithm>
#include <atomic>
#include <string>

#include "client/service_client.h"
#include "handed_out.h"
#include "settings/registry_values.h"
#include "store/registry.h"
#include "system/cpu_count.h"
#include "zel/access_monitor.h"
#include "zel/tracelog.h"

namespace {

namespace settings = zel::settings;
namespace client = zel::client;
namespace registry = zel::store::registry;
using zel::access::handed_out;

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
bool write(const Table& table, const typename Table::Record& record, const std::string& key,
           const settings::Writing<typename Table::Record>& how) {
    if (!settings::write_record(table, record, key, how)) return false;
    client::notify("reset cpu");  // a missing service reads the settings when it starts
    return true;
}

bool is_possible(const CpuThresholdRow& row) {
    return row.enable == 0 || settings::judge(row) == 0;
}

}  // namespace

extern "C" int GetCpuDataFromRegistry(CpuSettingsRecord* settings) try {
    if (!settings || !settings::registry_readable()) return 1;
    const auto cycle = settings::read_record(settings::kCpuCycle, settings::kCpuCycle.key);
    const CpuThresholdRow total = settings::read_cpu_row(0);
    handed_out<CpuCycleRecord>().keep(cycle);
    handed_out<CpuThresholdRow>().keep(total);
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
    handed_out<CpuThresholdRow>().keep(*out, row);
    return 1;
} catch (...) {
    return 0;
}

extern "C" int TestInputCpuParameter(const CpuThresholdRow* row) {
    return row ? settings::judge(*row) : CPU_TEST_ORDER;
}

extern "C" int PutCpuThreshold(int row, const CpuThresholdRow* values) try {
    if (!values || !row_exists(row)) return 0;
    auto& known = handed_out<CpuThresholdRow>();
    // With hundreds of CPUs, most rows of a table that is saved are as they were.
    const bool done =
        stands_already(row, *values) || write(settings::kCpuRow, *values, settings::cpu_row_key(row),
                                              {.before = known.last(row), .fits = is_possible});
    if (done) known.saved(*values, row);
    return done ? 1 : 0;
} catch (...) {
    return 0;
}

extern "C" int PutCycletoReg(const CpuCycleRecord* cycle) try {
    auto& known = handed_out<CpuCycleRecord>();
    if (!cycle || !write(settings::kCpuCycle, *cycle, settings::kCpuCycle.key, {.before = known.last()}))
        return 0;
    known.saved(*cycle);
    return 1;
} catch (...) {
    return 0;
}
