// SPDX-License-Identifier: GPL-3.0-or-later
// Thresholds of the management controller's sensors.
#include <algorithm>
#include <cstring>
#include <mutex>
#include <span>
#include <vector>

#include "bmc/controller_visit.h"
#include "bmc/sensor_list.h"
#include "bmc/sensor_registry.h"
#include "bmc/sensors_state.h"
#include "store/registry.h"
#include "zel/access_ipmi.h"
#include "zel/trace.h"

namespace {

namespace bmc = zel::bmc;

constexpr const char* kModule = "sensors";

/// What names a sensor in the library's own fields of the records; never 0, what a caller clears them to.
constexpr std::uint32_t kTag = 0x5e000000;
std::uint32_t tag_of(const bmc::Sensor& sensor) {
    return kTag | sensor.id();
}

/// The sensors of one kind that this process has found.
struct SensorTable {
    bmc::Kind kind;
    std::size_t most;
    std::mutex mutex{};
    std::vector<bmc::SensorState> sensors{};

    bmc::SensorState* find(std::uint32_t tag) {
        const auto found =
            std::ranges::find_if(sensors, [tag](const auto& state) { return tag_of(state.sensor) == tag; });
        return found == sensors.end() ? nullptr : &*found;
    }
};

// Never destroyed: threads may still ask while the process ends.
SensorTable& temperatures() {
    static auto& table = *new SensorTable{bmc::Kind::temperature, TEMP_SENSORS_MAX};
    return table;
}

SensorTable& voltages() {
    static auto& table = *new SensorTable{bmc::Kind::voltage, VOLT_SENSORS_MAX};
    return table;
}

bool fail(const char* what) {
    ZEL_TRACE(TRACE_LEVEL_ERROR, "%s.", what);
    return false;
}

bool valid_count(const SensorTable& table, int count) {
    return (count >= 0 && static_cast<std::size_t>(count) <= table.most) ||
           fail("Not a possible number of sensors");
}

template <class Location>
bool find_sensors(SensorTable& table, int* count, Location* out) {
    if (!count || !out) return false;
    const std::scoped_lock lock(table.mutex);
    auto found = bmc::find_sensors(bmc::controller(), table.kind, table.most);
    if (!found) {
        bmc::controller().end_session();
        return fail("The sensors could not be found");
    }
    table.sensors.clear();
    for (bmc::Sensor& sensor : found->sensors) {
        table.sensors.push_back({.sensor = std::move(sensor), .controller = found->controller});
        const bmc::Sensor& kept = table.sensors.back().sensor;
        Location row{};
        std::memcpy(row.name, kept.name.c_str(), std::min(kept.name.size(), sizeof row.name - 1));
        const std::uint32_t tag = tag_of(kept);
        std::memcpy(row.lib, &tag, sizeof tag);
        *out++ = row;
    }
    *count = static_cast<int>(table.sensors.size());
    return true;
}

template <class Row>
void fill_row(const bmc::SensorState& state, Row& row) {
    row.word0 = tag_of(state.sensor);
    row.dwMonitorFlag = state.monitor;
    row.lHighFatal = state.values[0];
    row.lHighWarning = state.values[1];
    row.lLowWarning = state.values[2];
    row.lLowFatal = state.values[3];
    row.lHighMax = state.limits.high_max;
    row.lHighMin = state.limits.high_min;
    row.lLowMax = state.limits.low_max;
    row.lLowMin = state.limits.low_min;
    row.bSettable = state.settable ? 1 : 0;
}

template <class Location, class Row>
bool read_thresholds(SensorTable& table, const Location* locations, Row* out, int count) {
    if (!valid_count(table, count)) return false;
    const bmc::ControllerVisit visit;
    if (count == 0) return true;
    if (!locations || !out) return false;
    if (zel::store::registry::check() != zel::store::Status::ok) return fail("The registry cannot be read");

    const std::scoped_lock lock(table.mutex);
    std::vector<Row> rows;
    for (const Location& location : std::span(locations, static_cast<std::size_t>(count))) {
        std::uint32_t tag = 0;
        std::memcpy(&tag, location.lib, sizeof tag);
        bmc::SensorState* state = table.find(tag);
        if (!state) return fail("A location that was not found by this process");
        if (bmc::read_sensor(bmc::controller(), *state) == bmc::WriteResult::unreachable) {
            return fail("The thresholds could not be read");
        }
        state->monitor = bmc::monitor_flag(*state);
        fill_row(*state, rows.emplace_back());
    }
    std::ranges::copy(rows, out);
    return true;
}

/// Writes one row. `reachable` turns false when the controller stops answering: the rows that follow then
/// keep their flags without waiting for it again.
template <class Row>
bool write_row(SensorTable& table, const Row& row, bool& reachable) {
    bmc::SensorState* state = table.find(row.word0);
    if (!state || !state->known) return fail("Thresholds that were not read by this process");
    const bmc::ThresholdValues wanted{row.lHighFatal, row.lHighWarning, row.lLowWarning, row.lLowFatal};
    const bool changed = row.bChangeThreshFlag == 1;
    bool written = false;
    if (changed && reachable) {
        const bmc::WriteResult result = bmc::write_sensor(bmc::controller(), *state, wanted);
        written = result == bmc::WriteResult::done;
        reachable = result != bmc::WriteResult::unreachable;
    }
    if (changed && !written && !reachable) {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "Thresholds of %s not written: the controller does not answer.",
                  state->sensor.name.c_str());
    }
    const bool kept = bmc::keep_settings(*state, row.dwMonitorFlag, written ? &wanted : nullptr);
    if (kept && row.dwMonitorFlag != SENSOR_NO_MONITORING) state->monitor = row.dwMonitorFlag;
    return kept && written == changed;
}

template <class Row>
bool write_thresholds(SensorTable& table, const Row* rows, int count) {
    if (!valid_count(table, count)) return false;
    if (count == 0) return true;
    if (!rows) return false;
    const bmc::ControllerVisit visit;
    const std::scoped_lock lock(table.mutex);
    bool reachable = true;
    bool all_written = true;
    for (const Row& row : std::span(rows, static_cast<std::size_t>(count))) {
        if (!write_row(table, row, reachable)) all_written = false;
    }
    return all_written;
}

}  // namespace

extern "C" int GetIpmiTempLocation(int* senNum, TempSensorLocation* table) try {
    return find_sensors(temperatures(), senNum, table) ? 1 : 0;
} catch (...) {
    return 0;
}

extern "C" int64_t TempGetIpmiThreshold(TempSensorLocation* table, TempThreshRecord* data, int senNum) try {
    return read_thresholds(temperatures(), table, data, senNum) ? 1 : 0;
} catch (...) {
    return 0;
}

extern "C" int64_t TempSetIpmiThreshold(TempThreshRecord* data, int senNum) try {
    return write_thresholds(temperatures(), data, senNum) ? 1 : 0;
} catch (...) {
    return 0;
}

extern "C" int GetIpmiVoltLocation(int* senNum, VoltSensorLocation* table) try {
    return find_sensors(voltages(), senNum, table) ? 1 : 0;
} catch (...) {
    return 0;
}

extern "C" int VoltGetIpmiThreshold(VoltSensorLocation* table, VoltThreshRecord* data, int senNum) try {
    return read_thresholds(voltages(), table, data, senNum) ? 1 : 0;
} catch (...) {
    return 0;
}

extern "C" int64_t VoltpSetIpmiThreshold(VoltThreshRecord* data, int senNum) try {
    return write_thresholds(voltages(), data, senNum) ? 1 : 0;
} catch (...) {
    return 0;
}
