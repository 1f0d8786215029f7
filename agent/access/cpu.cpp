// SPDX-License-Identifier: GPL-3.0-or-later
// CPU load: settings in the registry, the CPU count from the system.
#include <algorithm>
#include <array>
#include <atomic>
#include <string>

#include "client/service_client.h"
#include "settings/cpu_settings.h"
#include "settings/registry_values.h"
#include "store/registry.h"
#include "system/cpu_count.h"
#include "zel/access_monitor.h"
#include "zel/tracelog.h"

namespace {

namespace settings = zel::settings;
namespace client = zel::client;
namespace registry = zel::store::registry;

constexpr const char* kKey = "SOFTWARE/QUD/ZELAgent/CPU";
constexpr int kDefaultInterval = 10;
constexpr int kDefaultCycle = 60;
// Wider than any choice a program offers: an administrator may set what the programs do not.
constexpr int kLongestInterval = 3600;
constexpr int kLongestCycle = 365 * 24 * 3600;

/// The CPUs as they were last counted, 0 before the first time: hundreds of rows are not worth as many
/// counts.
std::atomic<int> counted_cpus = 0;

int count_anew() {
    return counted_cpus = zel::system::count_cpus();
}

bool row_exists(int row) {
    const int known = counted_cpus;
    return row >= 0 && row <= (known > 0 ? known : count_anew());
}

std::string row_key(int row) {
    return std::string(kKey) + '/' + settings::cpu_row_name(row);
}

/// A number between `least` and `greatest`; the fallback when it is missing, or (traced) not such a number.
int read_number(const std::string& key, const char* name, int least, int greatest, int fallback) {
    const auto stored = registry::get(key, name);
    if (!stored) return fallback;
    const auto* number = std::get_if<std::uint32_t>(&*stored);
    if (number && *number >= static_cast<std::uint32_t>(least) &&
        *number <= static_cast<std::uint32_t>(greatest)) {
        return static_cast<int>(*number);
    }
    TraceLog(TRACE_LEVEL_ERROR, "cpu", __func__, __LINE__,
             "%s %s is not a number from %d to %d, taken as %d.", key.c_str(), name, least, greatest,
             fallback);
    return fallback;
}

CpuCycleRecord read_cycle() {
    return {read_number(kKey, settings::kCpuInterval, 1, kLongestInterval, kDefaultInterval),
            read_number(kKey, settings::kCpuCycle, 1, kLongestCycle, kDefaultCycle)};
}

/// What a row starts from.
CpuThresholdRow default_row(int row) {
    CpuThresholdRow result{};
    for (const auto& value : settings::kCpuRowValues)
        result.*value.field = value.fallback;
    // The whole machine is watched until somebody says otherwise; single CPUs are not.
    if (row == 0) result.enable = 1;
    return result;
}

CpuThresholdRow read_row(int row) {
    CpuThresholdRow result = default_row(row);
    const std::string key = row_key(row);
    for (const auto& value : settings::kCpuRowValues)
        result.*value.field = read_number(key, value.name, 0, value.greatest, result.*value.field);
    return result;
}

/// True when the row reads as `values` without writing anything. What is damaged reads as its default, but is
/// to be mended.
bool stands_already(int row, const CpuThresholdRow& values) {
    if (registry::check() != zel::store::Status::ok) return false;
    const CpuThresholdRow defaults = default_row(row);
    return std::ranges::all_of(settings::kCpuRowValues, [&, key = row_key(row)](const auto& value) {
        const auto stored = registry::get(key, value.name);
        if (!stored) return values.*value.field == defaults.*value.field;
        const auto* number = std::get_if<std::uint32_t>(&*stored);
        return number && *number == static_cast<std::uint32_t>(values.*value.field);
    });
}

/// Writes the values of one key and has the service take them up.
bool write(const std::string& key, std::span<const registry::Entry> values) {
    if (!settings::write_values(key.c_str(), values)) return false;
    client::notify("reset cpu");  // a missing service reads the settings when it starts
    return true;
}

}  // namespace

extern "C" int GetCpuDataFromRegistry(CpuSettingsRecord* settings) try {
    if (!settings || !settings::registry_readable()) return 1;
    const CpuCycleRecord cycle = read_cycle();
    const CpuThresholdRow total = read_row(0);
    *settings = {.samplingInterval = cycle.samplingInterval,
                 .cycleSeconds = cycle.cycleSeconds,
                 .initialRow = 0,
                 .totalEnable = total.enable,
                 .cpuCount = count_anew(),
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
    *out = read_row(row);
    return 1;
} catch (...) {
    return 0;
}

extern "C" int TestInputCpuParameter(const CpuThresholdRow* row) {
    if (!row) return CPU_TEST_ORDER;
    int faults = 0;
    if (std::max(row->fatalReport, row->fatalReset) > 100) faults |= CPU_TEST_FATAL_BIG;
    if (std::min(row->warningReport, row->warningReset) < 1) faults |= CPU_TEST_WARNING_SMALL;
    const bool ordered = row->fatalReport > row->fatalReset && row->fatalReset > row->warningReport &&
                         row->warningReport > row->warningReset;
    if (!ordered) faults |= CPU_TEST_ORDER;
    return faults;
}

extern "C" int PutCpuThreshold(int row, const CpuThresholdRow* values) try {
    if (!values || !row_exists(row)) return 0;
    // With hundreds of CPUs, most rows of a table that is saved are as they were.
    if (stands_already(row, *values)) return 1;
    std::vector<registry::Entry> entries;
    entries.reserve(settings::kCpuRowValues.size());
    for (const auto& value : settings::kCpuRowValues) {
        entries.push_back({value.name, static_cast<std::uint32_t>(values->*value.field)});
    }
    return write(row_key(row), entries) ? 1 : 0;
} catch (...) {
    return 0;
}

extern "C" int PutCycletoReg(const CpuCycleRecord* cycle) try {
    if (!cycle || cycle->samplingInterval < 1 || cycle->samplingInterval > kLongestInterval ||
        cycle->cycleSeconds < 1 || cycle->cycleSeconds > kLongestCycle) {
        return 0;
    }
    const std::array entries{
        registry::Entry{settings::kCpuInterval, static_cast<std::uint32_t>(cycle->samplingInterval)},
        registry::Entry{settings::kCpuCycle, static_cast<std::uint32_t>(cycle->cycleSeconds)}};
    return write(kKey, entries) ? 1 : 0;
} catch (...) {
    return 0;
}
