// SPDX-License-Identifier: GPL-3.0-or-later
// Settings in the registry. An invalid one reads as its default; what went wrong is logged in the trace.
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "store/registry.h"
#include "values.h"

namespace zel::settings {

/// False when the registry cannot be read.
bool registry_readable();

/// A number; its fallback when it is missing or invalid.
std::uint32_t read_number(const std::string& key, const Value& value);

/// A text; its fallback when it is missing, no text, not UTF-8 or holds control characters.
std::string read_text(const Text& text);

/// Writes all values under one key; false when that failed, and all of them are as they were. `counter` as
/// for registry::set.
bool write_values(const std::string& key, std::span<const store::registry::Entry> values,
                  const char* counter = "");

/// A record as it is without settings.
template <class Table>
typename Table::Record default_record(const Table& table) {
    typename Table::Record record{};
    for (const auto& [value, member] : table.fields) {
        using Word = std::remove_reference_t<decltype(record.*member)>;
        record.*member = static_cast<Word>(value.fallback);
    }
    return record;
}

/// A record as it is kept under `key`.
template <class Table>
typename Table::Record read_record(const Table& table, const std::string& key) {
    typename Table::Record record{};
    for (const auto& [value, member] : table.fields) {
        using Word = std::remove_reference_t<decltype(record.*member)>;
        record.*member = static_cast<Word>(read_number(key, value));
    }
    return record;
}

/// The same from the table's own key; nothing when the registry cannot be read.
template <class Table>
std::optional<typename Table::Record> read_record(const Table& table) {
    if (!registry_readable()) return std::nullopt;
    return read_record(table, table.key);
}

/// One row of the CPUs' thresholds: the whole machine's, or that of a CPU.
inline CpuThresholdRow read_cpu_row(int row) {
    return read_record(row == 0 ? kCpuTotal : kCpuRow, cpu_row_key(row));
}

/// Judges the thresholds of a row that is watched.
/// @return CPU_TEST_ bits.
int judge(const CpuThresholdRow& row);

/// Tells whether a number is in its range; one that is not is logged in the trace.
bool is_valid(const Value& value, std::uint64_t number);

template <class Table>
bool is_valid(const Table& table, const typename Table::Record& record) {
    return std::ranges::all_of(table.fields, [&](const auto& field) {
        return is_valid(field.value, static_cast<std::uint64_t>(record.*field.member));
    });
}

/// The settings of the record that are in their ranges, as they are written.
template <class Table>
std::vector<store::registry::Entry> valid_entries(const Table& table, const typename Table::Record& record) {
    std::vector<store::registry::Entry> entries;
    entries.reserve(table.fields.size());
    for (const auto& [value, member] : table.fields) {
        if (!value.allows(static_cast<std::uint64_t>(record.*member))) continue;
        entries.push_back({value.name, static_cast<std::uint32_t>(record.*member)});
    }
    return entries;
}

/// Writes a record; false, with nothing written, when a setting is out of its range or writing failed.
template <class Table>
bool write_record(const Table& table, const typename Table::Record& record, const std::string& key) {
    return is_valid(table, record) && write_values(key, valid_entries(table, record));
}

/// What happens when the system or its shutdown hangs is refused when it is switched on and invalid. While it is
/// switched off, what is out of its range is left as it stands in the registry.
template <class Table>
bool write_switched_record(const Table& table, const typename Table::Record& record,
                           const char* counter = "") {
    const bool off = record.*table.fields.front().member == 0;
    return (off || is_valid(table, record)) && write_values(table.key, valid_entries(table, record), counter);
}

}  // namespace zel::settings
