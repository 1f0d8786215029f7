// SPDX-License-Identifier: GPL-3.0-or-later
// What the two sensor panels do alike with their tables of records.
#pragma once

#include <zel/access_ipmi.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>

namespace zel {

/// Makes a zero-filled table. False, and none, when memory is short.
template <class Record>
bool allocate(std::unique_ptr<Record[]>& table, std::size_t rows) {
    table.reset(new (std::nothrow) Record[rows]());
    return table != nullptr;
}

/// Prepares a threshold record for reading; the bytes that are the library's alone stay as they are.
template <class Record>
void clear_record(Record& record) {
    record.word0 = 0;
    record.bChangeThreshFlag = 0;
    record.dwMonitorFlag = SENSOR_NO_MONITORING;
    record.word16 = 0;
    record.bSettable = 0;
    for (auto field : {&Record::unused24, &Record::lHighFatal, &Record::lHighWarning, &Record::lLowWarning,
                       &Record::lLowFatal, &Record::unused64, &Record::lHighMax, &Record::lHighMin,
                       &Record::lLowMax, &Record::lLowMin})
        record.*field = 0;
}

/// What a record holds when it is read, to be compared with later.
template <class Snapshot, class Record>
Snapshot snapshot_of(const Record& record) {
    Snapshot kept{};
    if constexpr (requires { kept.monitorFlag; }) kept.monitorFlag = record.dwMonitorFlag;
    kept.highFatal = record.lHighFatal;
    kept.highWarning = record.lHighWarning;
    kept.lowWarning = record.lLowWarning;
    kept.lowFatal = record.lLowFatal;
    return kept;
}

/// A threshold of a snapshot, in the order of `Sensor::values`.
template <class Snapshot>
std::int64_t kept_value(const Snapshot& kept, std::size_t threshold) {
    return std::array{kept.highFatal, kept.highWarning, kept.lowWarning, kept.lowFatal}.at(threshold);
}

/// A name from the library, read no further than its field.
template <std::size_t Size>
std::string_view bounded_name(const char (&name)[Size]) {
    return {name, strnlen(name, Size)};
}

}  // namespace zel
