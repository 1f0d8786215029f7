// SPDX-License-Identifier: GPL-3.0-or-later
#include "sensors_state.h"

#include <algorithm>

#include "zel/tracelog.h"

namespace zel::access {
namespace {

constexpr const char* kModule = "sensors";

Access refuse(const SensorState& state, const char* why) {
    TraceLog(TRACE_LEVEL_ERROR, kModule, __func__, __LINE__, "Thresholds of %s not written: %s.",
             state.sensor.name.c_str(), why);
    return Access::refused;
}

Access refused_by_controller(const SensorState& state, const char* what, std::uint8_t completion) {
    TraceLog(TRACE_LEVEL_ERROR, kModule, __func__, __LINE__, "%s thresholds of %s: completion code %02xh.",
             what, state.sensor.name.c_str(), unsigned{completion});
    return Access::refused;
}

/// The thresholds that callers see of those that the controller reported.
void take_values(SensorState& state, const bmc::ThresholdCodes& reading) {
    bmc::ThresholdCodes seen = reading;
    if (state.sensor.settable != 0) seen.mask &= state.sensor.settable;
    for (std::size_t i = 0; i < bmc::kThresholds; ++i) {
        state.values[i] = seen.has(i) ? state.sensor.conversion.whole(seen.code(i)) : SENSOR_NO_THRESHOLD;
    }
}

/// The codes of the thresholds that differ; on failure the reason in `fault`.
bmc::ThresholdCodes encode_changes(const SensorState& state, const ThresholdValues& wanted,
                                   const char*& fault) {
    bmc::ThresholdCodes changes;
    for (std::size_t i = 0; i < bmc::kThresholds; ++i) {
        if (wanted[i] == state.values[i]) continue;
        const auto code = state.sensor.conversion.code(wanted[i]);
        if (state.values[i] == SENSOR_NO_THRESHOLD) {
            fault = "the sensor has no such threshold";
        } else if (!code) {
            fault = "the sensor cannot represent a value";
        } else {
            changes.set(i, *code);
        }
    }
    return changes;
}

bool same_codes(const bmc::ThresholdCodes& wanted, const bmc::ThresholdCodes& reading) {
    for (std::size_t i = 0; i < bmc::kThresholds; ++i) {
        if (wanted.has(i) && (!reading.has(i) || reading.code(i) != wanted.code(i))) return false;
    }
    return true;
}

}  // namespace

void take_reading(SensorState& state, const bmc::ThresholdCodes& reading) {
    take_values(state, reading);
    state.settable = state.sensor.settable != 0 && std::ranges::any_of(state.values, [](std::int64_t value) {
                         return value != SENSOR_NO_THRESHOLD;
                     });
    // A sensor whose present thresholds lie outside its own range must not fail a test for that.
    const bmc::Sensor& sensor = state.sensor;
    state.limits = {sensor.greatest, sensor.least, sensor.greatest, sensor.least};
    for (std::size_t i = 0; i < bmc::kThresholds; ++i) {
        if (state.values[i] == SENSOR_NO_THRESHOLD) continue;
        auto& greatest = i < 2 ? state.limits.high_max : state.limits.low_max;
        auto& least = i < 2 ? state.limits.high_min : state.limits.low_min;
        greatest = std::max(greatest, state.values[i]);
        least = std::min(least, state.values[i]);
    }
    state.known = true;
}

bool passes_rules(const ThresholdValues& values, const ThresholdLimits& limits) {
    const std::int64_t* above = nullptr;
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (values[i] == SENSOR_NO_THRESHOLD) continue;
        const std::int64_t greatest = i < 2 ? limits.high_max : limits.low_max;
        const std::int64_t least = i < 2 ? limits.high_min : limits.low_min;
        if (values[i] > greatest || values[i] < least || (above && *above <= values[i])) return false;
        above = &values[i];
    }
    return above;
}

Access read_sensor(bmc::Controller& controller, SensorState& state) {
    bmc::ThresholdReply reply;
    if (state.sensor.readable != 0) {
        const auto answer = bmc::read_thresholds(controller, state.sensor);
        if (!answer) return Access::unreachable;
        reply = *answer;
    }
    take_reading(state, reply.thresholds);
    return reply.completion == 0 ? Access::done : refused_by_controller(state, "Reading", reply.completion);
}

Access write_sensor(bmc::Controller& controller, SensorState& state, const ThresholdValues& wanted) {
    if (!state.settable) return refuse(state, "they are read only");
    const char* fault = nullptr;
    const bmc::ThresholdCodes changes = encode_changes(state, wanted, fault);
    if (!fault && !passes_rules(wanted, state.limits)) fault = "out of limits or order";
    if (fault) return refuse(state, fault);
    if (changes.mask == 0) return Access::done;

    const auto completion = bmc::write_thresholds(controller, state.sensor, changes);
    if (!completion) return Access::unreachable;
    if (*completion != 0) return refused_by_controller(state, "Writing", *completion);
    const auto reply = bmc::read_thresholds(controller, state.sensor);
    if (!reply) return Access::unreachable;
    if (reply->completion != 0) return refused_by_controller(state, "Reading back", reply->completion);
    take_values(state, reply->thresholds);
    return same_codes(changes, reply->thresholds) ? Access::done
                                                  : refuse(state, "the controller kept other values");
}

}  // namespace zel::access
