// SPDX-License-Identifier: GPL-3.0-or-later
#include "sensors_monitoring.h"

#include <string>
#include <vector>

#include "store/registry.h"
#include "zel/tracelog.h"

namespace zel::access {
namespace {

namespace registry = zel::store::registry;

constexpr const char* kSensors = "SOFTWARE/QUD/ZELAgent/Sensors";
constexpr const char* kName = "Name";
constexpr const char* kMonitor = "Monitor";

std::string key_of(const bmc::Sensor& sensor) {
    return std::string(kSensors) + '/' + std::to_string(sensor.lun) + '.' + std::to_string(sensor.number);
}

bool is_named(const std::string& key, const std::string& name) {
    const auto kept = registry::get(key, kName);
    const auto* text = kept ? std::get_if<std::string>(&*kept) : nullptr;
    return text != nullptr && *text == name;
}

}  // namespace

std::uint32_t monitor_flag(const SensorState& state) {
    if (state.sensor.readable == 0) return SENSOR_NO_MONITORING;
    if (const auto stored = registry::get_dword(key_of(state.sensor), kMonitor)) return *stored != 0 ? 1 : 0;
    return passes_rules(state.values, state.limits) ? 1 : 0;
}

bool keep_settings(const SensorState& state, std::uint32_t flag, const ThresholdValues* written) {
    const std::string key = key_of(state.sensor);
    const std::uint32_t kept = registry::get_dword(key, kMonitor).value_or(state.monitor);
    if (flag == SENSOR_NO_MONITORING) flag = kept;
    if (flag == kept && !written) return true;

    std::vector<registry::Entry> entries{{kName, state.sensor.name}};
    if (flag != SENSOR_NO_MONITORING) entries.push_back({kMonitor, flag != 0 ? 1U : 0U});
    for (std::size_t i = 0; written && i < written->size(); ++i) {
        if ((*written)[i] == SENSOR_NO_THRESHOLD) continue;
        entries.push_back({kThresholdNames[i], static_cast<std::uint32_t>((*written)[i] & 0xffffffff)});
    }
    if (registry::set(key, entries) == store::Status::ok) return true;
    TraceLog(TRACE_LEVEL_ERROR, "sensors", __func__, __LINE__, "%s (%s) cannot be written.", key.c_str(),
             state.sensor.name.c_str());
    return false;
}

bool any_settings() {
    return registry::key_exists(kSensors);
}

std::optional<ThresholdValues> kept_thresholds(const bmc::Sensor& sensor) {
    const std::string key = key_of(sensor);
    if (!is_named(key, sensor.name)) return std::nullopt;
    ThresholdValues kept{};
    bool any = false;
    for (std::size_t i = 0; i < kept.size(); ++i) {
        const auto value = registry::get_dword(key, kThresholdNames[i]);
        kept[i] = value ? static_cast<std::int32_t>(*value) : SENSOR_NO_THRESHOLD;
        any = any || value;
    }
    return any ? std::optional(kept) : std::nullopt;
}

}  // namespace zel::access
