// SPDX-License-Identifier: GPL-3.0-or-later
#include "sensors_reapply.h"

#include "controller_visit.h"
#include "request_limit.h"
#include "sensor_list.h"
#include "sensor_registry.h"
#include "zel/trace.h"

namespace zel::bmc {
namespace {

constexpr const char* kModule = "sensors";

// Nobody waits for it: also a slow controller gets through all of its sensors.
constexpr std::chrono::minutes kLongestReapply{10};
// More than the tool takes from the controller to the registry.
constexpr std::chrono::seconds kSecondLook{2};

/// What the sensor shall have: the kept thresholds, and its present ones where none were kept, it has none,
/// they cannot be set, or it could not represent what was kept.
ThresholdValues wanted_of(const SensorState& state, const ThresholdValues& kept) {
    ThresholdValues wanted = state.values;
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        const bool can_be = wanted[i] != SENSOR_NO_THRESHOLD && kept[i] != SENSOR_NO_THRESHOLD &&
                            state.sensor.can_set(i) && state.sensor.conversion.code(kept[i]);
        if (can_be && !has_value(state, i, kept[i])) wanted[i] = kept[i];
    }
    return wanted;
}

/// `done` when the sensor got its thresholds, `refused` when there was nothing to do or it would not take
/// them.
WriteResult reapply(Controller& controller, SensorState& state) {
    if (state.sensor.settable == 0 || !kept_thresholds(state)) return WriteResult::refused;
    if (const WriteResult read = read_sensor(controller, state); read != WriteResult::done) return read;
    const auto kept = kept_thresholds(state);  // as they are now that the controller was asked
    if (!kept) return WriteResult::refused;
    const ThresholdValues wanted = wanted_of(state, *kept);
    if (wanted == state.values) return WriteResult::refused;
    const WriteResult written = write_sensor(controller, state, wanted);
    if (written == WriteResult::done) {
        ZEL_TRACE(TRACE_LEVEL_INFO, "%s has its thresholds back.", state.sensor.name.c_str());
    }
    return written;
}

}  // namespace

std::optional<int> ThresholdKeeper::look() {
    if (!any_settings()) return 0;
    if (known_ && next_has_its_own()) return 0;
    return put_back();
}

std::optional<int> ThresholdKeeper::put_back() {
    known_ = false;
    if (!any_settings()) return 0;
    const ControllerVisit visit(kLongestReapply);
    sensors_.clear();
    int given = 0;
    for (const auto& [kind, most] :
         {std::pair(Kind::temperature, TEMP_SENSORS_MAX), std::pair(Kind::voltage, VOLT_SENSORS_MAX)}) {
        const bool first = kind == Kind::temperature;
        auto found = find_sensors(controller_, kind, static_cast<std::size_t>(most), first);
        if (!found) return std::nullopt;
        for (Sensor& sensor : found->sensors) {
            sensors_.push_back({.sensor = std::move(sensor), .controller = found->controller});
            const WriteResult result = reapply(controller_, sensors_.back());
            if (result == WriteResult::unreachable) return std::nullopt;
            given += result == WriteResult::done ? 1 : 0;
        }
    }
    target_ = controller_.target();
    known_ = true;
    return given;
}

/// Looks at the next sensor with kept thresholds. False when it has others, or when it could not be asked.
bool ThresholdKeeper::next_has_its_own() {
    const ControllerVisit visit;
    for (std::size_t tries = 0; tries < sensors_.size(); ++tries) {
        SensorState& state = sensors_[next_++ % sensors_.size()];
        const auto kept = state.sensor.settable != 0 ? kept_thresholds(state) : std::nullopt;
        if (!kept) continue;
        const WriteResult read = read_sensor(controller_, state);
        if (read == WriteResult::unreachable || controller_.target() != target_) return false;
        if (read == WriteResult::refused || wanted_of(state, *kept) == state.values) return true;
        // The tool may have been between the controller and the registry.
        if (!RequestLimit::pause(kSecondLook)) return true;
        const auto since = kept_thresholds(state);
        return !since || wanted_of(state, *since) == state.values;
    }
    return true;
}

}  // namespace zel::bmc
