// SPDX-License-Identifier: GPL-3.0-or-later
#include "hang_settings.h"

#include <vector>

#include "zel/tracelog.h"

namespace zel::settings {
namespace {

using store::registry::Entry;

template <class Record, class Values>
Record read_values(const char* key, const Values& values) {
    Record record{};
    for (const auto& value : values) {
        record.*value.field = read_number(key, value.name, value.allowed, value.fallback);
    }
    return record;
}

/// The values to write; none when the record is refused. The switch is the first of them.
template <class Record, class Values>
std::vector<Entry> accepted(const char* key, const Record& record, const Values& values) {
    const bool enabled = record.*values.front().field != 0;
    std::vector<Entry> entries;
    for (const auto& value : values) {
        const auto number = record.*value.field;
        if (value.allowed(number)) {
            entries.push_back({value.name, static_cast<std::uint32_t>(number)});
        } else if (enabled) {
            TraceLog(TRACE_LEVEL_ERROR, "hang_settings", __func__, __LINE__, "%s %s %llu is refused.", key,
                     value.name, static_cast<unsigned long long>(number));
            return {};
        }
    }
    return entries;
}

std::uint32_t generation() {
    return read_number(kWatchdogKey, kGeneration, within<0, UINT32_MAX>, 0);
}

}  // namespace

std::optional<ShutdownRecord> read_shutdown() {
    if (!registry_readable()) return std::nullopt;
    return read_values<ShutdownRecord>(kShutdownKey, kShutdownValues);
}

std::optional<WdtRecord> read_watchdog() {
    if (!registry_readable()) return std::nullopt;
    auto record = read_values<WdtRecord>(kWatchdogKey, kWatchdogValues);
    record.library = generation();
    return record;
}

bool write_shutdown(const ShutdownRecord& record) {
    const auto entries = accepted(kShutdownKey, record, kShutdownValues);
    return !entries.empty() && write_values(kShutdownKey, entries);
}

bool write_watchdog(const WdtRecord& record) {
    const auto entries = accepted(kWatchdogKey, record, kWatchdogValues);
    return !entries.empty() && write_values(kWatchdogKey, entries, kGeneration);
}

}  // namespace zel::settings
