// SPDX-License-Identifier: GPL-3.0-or-later
// The one dialog for the thresholds of the management controller's sensors. The temperature and voltage
// panels bring their tables and what they do differently; everything else is here.
#pragma once

#include <agntconf/newtlib.h>

#include <array>
#include <cstdint>
#include <string_view>

namespace zel {

inline constexpr std::size_t kThresholds = 4;

/// One sensor's record, whatever its layout: the fields that the dialog reads and changes.
struct Sensor {
    std::uint32_t* monitor;                         ///< 1 on, 0 off, 0xffffff no setting.
    std::uint32_t* changed;                         ///< 1 when a threshold differs from the one read.
    std::array<std::int64_t*, kThresholds> values;  ///< High fatal, high warning, low warning, low fatal.
    std::array<std::int64_t, kThresholds> largest;  ///< Their limits, ends included.
    std::array<std::int64_t, kThresholds> smallest;
    bool settable;
};

/// The view of a temperature or voltage record.
template <class Record>
Sensor view_of(Record& record) {
    return {.monitor = &record.dwMonitorFlag,
            .changed = &record.bChangeThreshFlag,
            .values = {&record.lHighFatal, &record.lHighWarning, &record.lLowWarning, &record.lLowFatal},
            .largest = {record.lHighMax, record.lHighMax, record.lLowMax, record.lLowMax},
            .smallest = {record.lHighMin, record.lHighMin, record.lLowMin, record.lLowMin},
            .settable = record.bSettable == 1};
}

/// Which entries get their stored values back when another sensor is selected.
enum class Refill { from_first_empty, empty_only };

/// Which sensor decides whether an empty entry is an error: the one of the previous OK (at first sensor 0),
/// tested before anything is taken from the dialog, or the one now selected, once its flag is taken.
enum class EmptyTest { previous_ok, now_selected };

/// What one panel brings.
struct SensorPanelKind {
    const char* sensor_label;
    std::array<const char*, kThresholds> threshold_labels;
    const char* enable_label;
    const char* title;
    const char* message_title;  ///< Of range, order and write errors.
    int list_width;
    /// Whether sensor 0's entries open enabled when it has no monitoring setting.
    bool editable_without_setting;
    Refill refill;
    EmptyTest empty_test;
    char* mark;                         ///< The check box's mark.
    const std::uint32_t* opening_flag;  ///< The monitoring flag of sensor 0 as it was read.

    Sensor (*sensor)(std::int32_t index);
    std::string_view (*name)(std::int32_t index);
    /// The threshold as it was read, in the order of `Sensor::values`.
    std::int64_t (*as_read)(std::int32_t index, std::size_t threshold);
    /// 1 when min <= input <= max.
    int (*in_range)(std::int64_t input, std::int64_t max, std::int64_t min);
    /// 1 when big > small.
    int (*falls)(std::int64_t big, std::int64_t small);
    /// Judges all `count` sensors and sets their change flags. True when all may be written.
    bool (*judge)(std::int32_t count);
    /// Writes all records; 0 or less is failure.
    std::int64_t (*write)(std::int32_t count);
    void (*trace_write_failure)();
    newtCallback on_list;      ///< Calls `select_sensor`.
    newtCallback on_checkbox;  ///< Calls `update_entries`.
};

/// Whether all supported thresholds of a sensor lie within their limits.
bool is_in_range(const SensorPanelKind& kind, const Sensor& sensor);
/// Whether the supported thresholds of a sensor fall strictly from high fatal to low fatal.
bool is_in_order(const SensorPanelKind& kind, const Sensor& sensor);
/// True when the sensor is monitored and its thresholds may be changed.
bool is_judged(const Sensor& sensor);
/// Sets the change flag by the thresholds as they were read.
void set_change_flag(const SensorPanelKind& kind, std::int32_t index);

/// Runs the dialog over sensors 0 to `count` - 1 (with none, sensor 0 must be an initialised record) until
/// the user leaves it.
void run_sensor_panel(const SensorPanelKind& kind, std::int32_t count);

/// The list moved: keeps what was entered for the sensor that is left and shows the new one.
void select_sensor(newtComponent list);
/// Enables exactly the entries of the shown sensor that may be edited.
void update_entries();

}  // namespace zel
