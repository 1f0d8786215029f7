// SPDX-License-Identifier: GPL-3.0-or-later
// Settings in the registry. An invalid one reads as its default; what went wrong is logged in the trace.
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "merge.h"
#include "store/registry.h"
#include "values.h"

namespace zel::settings {

/// False when the registry cannot be read.
bool registry_readable();

/// A number; its fallback when it is missing or invalid.
std::uint32_t read_number(const std::string& key, const Value& value);

/// A text; its fallback when it is missing, no text, not UTF-8 or holds control characters.
std::string read_text(const Text& text);

/// Writes all values under one key; false when that failed, and all of them are as they were.
bool write_values(const std::string& key, std::span<const store::registry::Entry> values);

/// Writes a text; false when that failed.
/// @param before  What was kept when the caller was handed out the very text that it gives back: another valid one
///                that is kept by now stays. Nothing for a text of the caller's own.
bool write_text(const Text& text, const std::string& words, const std::optional<std::string>& before = {});

/// Has `edit` change the registry in one replacement and logs what changed; false, and logged under the name of the
/// key, when that failed.
bool change_values(const std::string& key, const std::function<bool(store::registry::Edit&)>& edit);

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

/// Tells whether a number is in its range; one that is not is logged in the trace.
bool is_valid(const Value& value, std::uint64_t number);

template <class Table>
bool is_valid(const Table& table, const typename Table::Record& record) {
    return std::ranges::all_of(table.fields, [&](const auto& field) {
        return is_valid(field.value, static_cast<std::uint64_t>(record.*field.member));
    });
}

/// Counts a saving of the settings of a timer. The first one notes how often older versions had saved them.
bool count_generation(store::registry::Edit& edit, const std::string& key);
/// True when the settings of a timer were saved when it was known that they arm it.
bool is_meant_to_arm(const std::string& key);

/// Judges the four thresholds of a CPU's row, whatever its enable field says.
/// @return 0 when valid, else CPU_TEST_ bits.
int judge(const CpuThresholdRow& row);

/// How a record is written.
template <class Record>
struct Writing {
    /// What the caller was handed out: fields that it left so stay as somebody else has changed them since, where
    /// what is kept is valid.
    std::optional<Record> before = std::nullopt;
    /// Asked about what comes of two writers; what it refuses is not written.
    bool (*fits)(const Record&) = nullptr;
    /// What is handed out of a record that is kept, where that is less than all.
    void (*mask)(Record&) = nullptr;
    /// Written with it, at last.
    bool (*also)(store::registry::Edit&, const std::string& key) = nullptr;
};

namespace detail {

template <class Record, class Field>
std::uint64_t word_of(const Record& record, const Field& field) {
    return static_cast<std::uint64_t>(record.*field.member);
}

template <class Record, class Field>
void set_word(Record& record, const Field& field, std::uint64_t word) {
    using Word = std::remove_reference_t<decltype(record.*field.member)>;
    record.*field.member = static_cast<Word>(word);
}

/// The number, if it is a valid one.
std::optional<std::uint32_t> valid_number(const store::registry::Edit& edit, const std::string& key,
                                          const Value& value);

/// What the caller would be handed out now. What is missing or damaged counts as not changed since.
template <class Table, class Record>
Record held_record(const Table& table, const store::registry::Edit& edit, const std::string& key,
                   const Writing<Record>& how) {
    Record held = *how.before;
    for (const auto& field : table.fields) {
        if (const auto number = valid_number(edit, key, field.value)) set_word(held, field, *number);
    }
    if (how.mask) how.mask(held);
    return held;
}

template <class Table, class Record>
Record merged_record(const Table& table, const Record& record, const Record& held,
                     const Writing<Record>& how) {
    Record merged = record;
    for (const auto& field : table.fields)
        set_word(
            merged, field,
            merge(field.value, word_of(record, field), word_of(*how.before, field), word_of(held, field)));
    if (how.mask) how.mask(merged);
    return merged;
}

/// Tells in the trace that a record is refused for what somebody else has written.
void tell_misfit(const std::string& key);

/// Sets those settings of the record that are in their ranges.
template <class Table, class Record>
bool put_record(const Table& table, const Record& record, store::registry::Edit& edit, const std::string& key,
                const Writing<Record>& how) {
    const Record held = how.before ? held_record(table, edit, key, how) : record;
    const Record merged = how.before ? merged_record(table, record, held, how) : record;
    const auto taken = [&](const auto& field) { return word_of(merged, field) != word_of(record, field); };
    if (how.fits && std::ranges::any_of(table.fields, taken) && !how.fits(merged)) {
        tell_misfit(key);
        return false;
    }
    return std::ranges::all_of(table.fields, [&](const auto& field) {
        const std::uint64_t word = word_of(merged, field);
        const bool left = !field.value.allows(word) || (taken(field) && word == word_of(held, field));
        return left || edit.set(key, field.value.name, static_cast<std::uint32_t>(word));
    });
}

template <class Table, class Record>
bool write_fields(const Table& table, const Record& record, const std::string& key,
                  const Writing<Record>& how) {
    return change_values(key, [&](store::registry::Edit& edit) {
        return put_record(table, record, edit, key, how) && (how.also == nullptr || how.also(edit, key));
    });
}

}  // namespace detail

/// Writes a record; false, with nothing written, when a setting is out of its range or writing failed.
template <class Table>
bool write_record(const Table& table, const typename Table::Record& record, const std::string& key,
                  const Writing<typename Table::Record>& how = {}) {
    return is_valid(table, record) && detail::write_fields(table, record, key, how);
}

/// What happens when the system or its shutdown hangs is refused when it is switched on and invalid. While it is
/// switched off, what is out of its range is left as it stands in the registry.
template <class Table>
bool write_switched_record(const Table& table, const typename Table::Record& record,
                           const Writing<typename Table::Record>& how = {}) {
    const bool off = record.*table.fields.front().member == 0;
    return (off || is_valid(table, record)) && detail::write_fields(table, record, table.key, how);
}

}  // namespace zel::settings
