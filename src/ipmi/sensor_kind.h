// SPDX-License-Identifier: GPL-3.0-or-later
// What the two sensor panels do alike with their tables. A `Kind` names one panel's: `records`, `locations`,
// `as_read`, `count` and `opening_flag` (its variables), `module`, `panel` and `read_failed` (its trace texts)
// and `tell_no_memory` (its words for that).
#pragma once

#include <agntconf/messages.h>
#include <agntconf/readstrfile.h>
#include <zel/access_ipmi.h>
#include <zel/trace.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <span>
#include <string_view>

#include "sensor_panel.h"

namespace zel {

/// Prepares threshold records for reading; the bytes that are the library's alone stay as they are.
template <class Record>
void clear_records(std::span<Record> records) {
    for (Record& record : records) {
        record.word0 = 0;
        record.bChangeThreshFlag = 0;
        record.dwMonitorFlag = SENSOR_NO_MONITORING;
        record.word16 = 0;
        record.bSettable = 0;
        for (auto field : {&Record::unused24, &Record::lHighFatal, &Record::lHighWarning,
                           &Record::lLowWarning, &Record::lLowFatal, &Record::unused64, &Record::lHighMax,
                           &Record::lHighMin, &Record::lLowMax, &Record::lLowMin})
            record.*field = 0;
    }
}

/// What a record holds when it is read, to be compared with later.
template <class Record, class Snapshot>
void take_snapshot(const Record& record, Snapshot& kept) {
    if constexpr (requires { kept.monitorFlag; }) kept.monitorFlag = record.dwMonitorFlag;
    kept.highFatal = record.lHighFatal;
    kept.highWarning = record.lHighWarning;
    kept.lowWarning = record.lLowWarning;
    kept.lowFatal = record.lLowFatal;
}

template <class Kind>
Sensor sensor_at(std::int32_t index) {
    return view_of(Kind::records[static_cast<std::size_t>(index)]);
}

/// A name from the library, read no further than its field.
template <class Kind>
std::string_view name_of(std::int32_t index) {
    const auto& name = Kind::locations[static_cast<std::size_t>(index)].name;
    return {name, strnlen(name, sizeof name)};
}

/// A threshold as it was read, in the order of `Sensor::values`.
template <class Kind>
std::int64_t value_as_read(std::int32_t index, std::size_t threshold) {
    const auto& kept = Kind::as_read[static_cast<std::size_t>(index)];
    return std::array{kept.highFatal, kept.highWarning, kept.lowWarning, kept.lowFatal}.at(threshold);
}

template <class Kind>
void free_tables() {
    Kind::records.reset();
    Kind::locations.reset();
    Kind::as_read.reset();
}

/// Makes one of the tables, zero-filled. False when memory is short, which is told and traced as `trace`; the
/// others are given back then.
template <class Kind, class Row>
bool allocate(std::unique_ptr<Row[]>& table, std::size_t rows, const char* trace) {
    constexpr const char* kModule = Kind::module;
    table.reset(new (std::nothrow) Row[rows]());
    if (table != nullptr) return true;
    Kind::tell_no_memory();
    free_tables<Kind>();
    ZEL_TRACE_AS(Kind::panel, TRACE_LEVEL_RESOURCE, "%s", trace);
    return false;
}

template <class Kind>
void keep_as_read() {
    for (std::size_t i = 0; i < static_cast<std::size_t>(Kind::count); ++i)
        take_snapshot(Kind::records[i], Kind::as_read[i]);
    Kind::opening_flag = Kind::records[0].dwMonitorFlag;
}

/// Runs a panel: its tables, its sensors, its dialog. `allocate_tables` returns false when it made none,
/// `read` 0 on failure.
template <class Kind>
void run_kind(const SensorPanelKind& panel, bool (*allocate_tables)(), int (*read)(std::int32_t* count)) {
    constexpr const char* kModule = Kind::module;
    if (!allocate_tables()) return;
    const auto read_sensors = [&] {
        const BusyLine busy("IPMISENSOR_READ_ID");
        Kind::count = 0;
        return read(&Kind::count) != 0;
    };
    if (!read_sensors()) {
        show_message(panel.message_title, text("IPMISENSOR_GET_ID"));
        free_tables<Kind>();
        ZEL_TRACE_AS(Kind::panel, TRACE_LEVEL_ERROR, "%s", Kind::read_failed);
        return;
    }
    keep_as_read<Kind>();
    run_sensor_panel(panel, Kind::count);
    free_tables<Kind>();
    ZEL_TRACE_AS(Kind::panel, TRACE_LEVEL_TRACE, "<");
}

}  // namespace zel
