// SPDX-License-Identifier: GPL-3.0-or-later
#include "sensors_reapply.h"

#include "bmc/sensor_list.h"
#include "controller_visit.h"
#include "sensors_monitoring.h"
#include "zel/tracelog.h"

namespace zel::access {
namespace {

// Nobody waits for it: also a slow controller gets through all of its sensors.
constexpr std::chrono::minutes kLongestReapply{10};

/// What the sensor shall have: the kept thresholds, and its present ones where none were kept or it has none.
ThresholdValues wanted_of(const SensorState& state, const ThresholdValues& kept) {
    ThresholdValues wanted = state.values;
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        if (wanted[i] != SENSOR_NO_THRESHOLD && kept[i] != SENSOR_NO_THRESHOLD) wanted[i] = kept[i];
    }
    return wanted;
}

/// `done` when the sensor got its thresholds, `refused` when there was nothing to do or it would not take
/// them.
Access reapply(bmc::Controller& controller, bmc::Sensor sensor) {
    const auto kept = kept_thresholds(sensor);
    if (!kept || sensor.settable == 0) return Access::refused;
    SensorState state{.sensor = std::move(sensor)};
    if (const Access read = read_sensor(controller, state); read != Access::done) return read;
    const ThresholdValues wanted = wanted_of(state, *kept);
    if (wanted == state.values) return Access::refused;
    const Access written = write_sensor(controller, state, wanted);
    if (written == Access::done) {
        TraceLog(TRACE_LEVEL_INFO, "sensors", __func__, __LINE__, "%s has its thresholds back.",
                 state.sensor.name.c_str());
    }
    return written;
}

}  // namespace

std::optional<int> reapply_thresholds(bmc::Controller& controller) {
    if (!any_settings()) return 0;
    const ControllerVisit visit(kLongestReapply);
    int given = 0;
    for (const auto& [kind, most] : {std::pair(bmc::Kind::temperature, TEMP_SENSORS_MAX),
                                     std::pair(bmc::Kind::voltage, VOLT_SENSORS_MAX)}) {
        auto sensors = bmc::find_sensors(controller, kind, static_cast<std::size_t>(most));
        if (!sensors) return std::nullopt;
        for (bmc::Sensor& sensor : *sensors) {
            const Access access = reapply(controller, std::move(sensor));
            if (access == Access::unreachable) return std::nullopt;
            given += access == Access::done ? 1 : 0;
        }
    }
    return given;
}

}  // namespace zel::access
