// SPDX-License-Identifier: GPL-3.0-or-later
#include "sensors_state.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "reading_factors.h"
#include "zel/trace.h"

namespace zel::bmc {
namespace {

constexpr const char* kModule = "sensors";

WriteResult refuse(const SensorState& state, const char* why) {
    ZEL_TRACE(TRACE_LEVEL_ERROR, "Thresholds of %s not written: %s.", state.sensor.name.c_str(), why);
    return WriteResult::refused;
}

WriteResult refused_by_controller(const SensorState& state, const char* what, std::uint8_t completion) {
    ZEL_TRACE(TRACE_LEVEL_ERROR, "%s thresholds of %s: completion code %02xh.", what,
              state.sensor.name.c_str(), unsigned{completion});
    return WriteResult::refused;
}

/// The thresholds that callers see of those that the controller reported.
void take_values(SensorState& state, const ThresholdCodes& reading) {
    const Conversion& conversion = state.sensor.conversion;
    state.reading = reading;
    for (std::size_t i = 0; i < kThresholds; ++i) {
        const bool has_value = reading.has(i) && conversion.has_value(reading.code(i));
        state.values[i] = has_value ? conversion.whole(reading.code(i)) : SENSOR_NO_THRESHOLD;
    }
}

/// The codes of the thresholds that differ; on failure the reason in `fault`.
ThresholdCodes encode_changes(const SensorState& state, const ThresholdValues& wanted, const char*& fault) {
    ThresholdCodes changes;
    for (std::size_t i = 0; i < kThresholds; ++i) {
        if (wanted[i] == state.values[i]) continue;
        const auto code = state.sensor.conversion.code(wanted[i]);
        if (state.values[i] == SENSOR_NO_THRESHOLD) {
            fault = "the sensor has no such threshold";
        } else if (!state.sensor.can_set(i)) {
            fault = "one of those changed cannot be set";
        } else if (!code) {
            fault = "the sensor cannot represent a value";
        } else if (*code != state.reading.code(i)) {
            changes.set(i, *code);
        }
    }
    return changes;
}

bool is_in(std::uint8_t mask, unsigned bit) {
    return (mask >> bit & 1) != 0;
}

/// Judges the six thresholds as the controller would have them. A pair that stays as it is may be as its
/// maker left it, and non-recoverable thresholds that were on the wrong side before bound nothing.
bool stays_in_order(const SensorState& state, const ThresholdCodes& changes) {
    const auto before = [&state](unsigned bit) {
        return state.sensor.conversion.exact(state.reading.codes[bit]);
    };
    const auto after = [&](unsigned bit) {
        return is_in(changes.mask, bit) ? state.sensor.conversion.exact(changes.codes[bit]) : before(bit);
    };
    const auto falls = [&](unsigned above, unsigned below) {
        if (!is_in(changes.mask, above) && !is_in(changes.mask, below)) return true;
        if (after(above) > after(below)) return true;
        const bool bounds = is_in(kNonRecoverable, above) || is_in(kNonRecoverable, below);
        return bounds && before(above) < before(below);
    };
    std::optional<unsigned> above;
    for (const unsigned bit : kAllThresholdBits) {
        if (!is_in(state.reading.mask, bit) || std::isnan(before(bit))) continue;
        if (above && !falls(*above, bit)) return false;
        above = bit;
    }
    return true;
}

bool same_codes(const ThresholdCodes& wanted, const ThresholdCodes& reading) {
    for (std::size_t i = 0; i < kThresholds; ++i) {
        if (wanted.has(i) && (!reading.has(i) || reading.code(i) != wanted.code(i))) return false;
    }
    return true;
}

}  // namespace

void take_reading(SensorState& state, const ThresholdCodes& reading) {
    take_values(state, reading);
    // A sensor whose present thresholds lie outside its own range must not fail a test for that.
    const Sensor& sensor = state.sensor;
    state.limits = {sensor.greatest, sensor.least, sensor.greatest, sensor.least};
    state.settable = false;
    for (std::size_t i = 0; i < kThresholds; ++i) {
        if (state.values[i] == SENSOR_NO_THRESHOLD) continue;
        state.settable = state.settable || sensor.can_set(i);
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

bool has_value(const SensorState& state, std::size_t threshold, std::int64_t value) {
    return state.values[threshold] == value ||
           (state.reading.has(threshold) &&
            state.sensor.conversion.code(value) == state.reading.code(threshold));
}

WriteResult read_sensor(Controller& controller, SensorState& state) {
    ThresholdReply reply;
    if (state.sensor.readable != 0) {
        const auto answer = read_thresholds(controller, state.sensor);
        if (!answer || !learn_codes(controller, state.sensor, answer->thresholds))
            return WriteResult::unreachable;
        reply = *answer;
    }
    take_reading(state, reply.thresholds);
    return reply.completion == 0 ? WriteResult::done
                                 : refused_by_controller(state, "Reading", reply.completion);
}

WriteResult write_sensor(Controller& controller, SensorState& state, const ThresholdValues& wanted) {
    if (!state.settable) return refuse(state, "they are read only");
    const char* fault = nullptr;
    const ThresholdCodes changes = encode_changes(state, wanted, fault);
    if (!fault && !passes_rules(wanted, state.limits)) fault = "out of limits or order";
    if (!fault && !stays_in_order(state, changes)) fault = "out of order as the sensor would keep them";
    if (fault) return refuse(state, fault);
    if (changes.mask == 0) return WriteResult::done;

    const auto completion = write_thresholds(controller, state.sensor, changes);
    if (!completion) return WriteResult::unreachable;
    if (*completion != 0) return refused_by_controller(state, "Writing", *completion);
    const auto reply = read_thresholds(controller, state.sensor);
    if (!reply) return WriteResult::unreachable;
    if (reply->completion != 0) return refused_by_controller(state, "Reading back", reply->completion);
    take_values(state, reply->thresholds);
    return same_codes(changes, reply->thresholds) ? WriteResult::done
                                                  : refuse(state, "the controller kept other values");
}

}  // namespace zel::bmc
