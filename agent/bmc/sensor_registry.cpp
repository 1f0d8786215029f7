// SPDX-License-Identifier: GPL-3.0-or-later
#include "sensor_registry.h"

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "settings/change_log.h"
#include "store/registry.h"
#include "zel/trace.h"

namespace zel::bmc {
namespace {

namespace registry = zel::store::registry;

constexpr const char* kModule = "sensors";
constexpr const char* kSensors = "SOFTWARE/QUD/ZELAgent/Sensors";
constexpr const char* kController = "Controller";
constexpr const char* kType = "Type";
constexpr const char* kName = "Name";
constexpr const char* kMonitor = "Monitor";
constexpr int kMostOfANumber = 1000;

const char* type_of(const SensorState& state) {
    return state.sensor.kind == Kind::temperature ? "temperature" : "voltage";
}

bool is_text(const std::string& key, const char* name, const std::string& text) {
    return registry::get(key, name) == registry::Value(text);
}

/// Where a sensor's settings are, or are to be written.
struct Place {
    enum class Owner { nobody, unknown, sensor };
    std::string key;
    Owner owner;
};

/// Whose settings a key holds; nothing when they are another sensor's.
std::optional<Place::Owner> owner_of(const std::string& key, const SensorState& state) {
    if (!registry::key_exists(key)) return Place::Owner::nobody;
    if (!registry::get(key, kController)) {
        return is_text(key, kName, state.sensor.name) ? std::optional(Place::Owner::unknown) : std::nullopt;
    }
    const bool same = is_text(key, kController, state.controller) && is_text(key, kType, type_of(state)) &&
                      is_text(key, kName, state.sensor.own_name);
    return same ? std::optional(Place::Owner::sensor) : std::nullopt;
}

Place place_of(const SensorState& state) {
    const std::string first = std::string(kSensors) + '/' + state.sensor.place();
    std::string key = first;
    for (int n = 2; n <= kMostOfANumber; ++n) {
        if (const auto owner = owner_of(key, state)) return {key, *owner};
        key = first + '/' + std::to_string(n);
    }
    return {key, Place::Owner::nobody};
}

std::optional<std::uint32_t> stored_flag(const Place& place) {
    if (place.owner == Place::Owner::nobody) return std::nullopt;
    return registry::get_dword(place.key, kMonitor);
}

/// A threshold is told with its sign.
std::string told(const std::string& name, const std::string& stored) {
    const std::string bare = settings::without_type(stored);
    if (name == kMonitor) return bare == "0" ? "false" : "true";
    const auto number = store::parse_int(bare);
    return number ? std::to_string(static_cast<std::int32_t>(*number)) : bare;
}

void log_changes(const SensorState& state, settings::Changed changes) {
    constexpr std::array<const char*, kThresholds> kWords{"high.fatal", "high.warning", "low.warning",
                                                          "low.fatal"};
    const std::string path = std::string(type_of(state)) + '[' + state.sensor.place() + "].";
    for (const auto& change : changes) {
        const auto* name = std::ranges::find(kThresholdNames, change.key);
        const bool flag = change.key == kMonitor;
        if (!flag && name == kThresholdNames.end()) continue;
        settings::log_change(
            {path + (flag ? "monitor" : kWords.at(static_cast<std::size_t>(name - kThresholdNames.begin()))),
             change.before ? told(change.key, *change.before) : "(not set)", told(change.key, change.after)});
    }
}

}  // namespace

std::uint32_t monitor_flag(const SensorState& state) {
    if (state.sensor.readable == 0) return SENSOR_NO_MONITORING;
    const auto stored = stored_flag(place_of(state));
    const bool in_order = passes_rules(state.values, state.limits);
    if (!stored) return in_order ? 1 : 0;
    if (*stored == 0 || in_order || !state.settable) return *stored != 0 ? 1 : 0;
    ZEL_TRACE(TRACE_LEVEL_ERROR, "%s counts as not monitored: its thresholds are out of order.",
              state.sensor.name.c_str());
    return 0;
}

bool keep_settings(const SensorState& state, std::uint32_t flag, const ThresholdValues* written) {
    const Place place = place_of(state);
    const bool changed = flag != SENSOR_NO_MONITORING && flag != state.monitor;
    if (!changed && !written && place.owner != Place::Owner::unknown) return true;

    std::vector<registry::Entry> entries{
        {kController, state.controller}, {kType, type_of(state)}, {kName, state.sensor.own_name}};
    const bool missing = flag != SENSOR_NO_MONITORING && !stored_flag(place);
    if (changed || missing) entries.push_back({kMonitor, flag != 0 ? 1U : 0U});
    for (std::size_t i = 0; written && i < written->size(); ++i) {
        if ((*written)[i] == SENSOR_NO_THRESHOLD || !state.sensor.can_set(i)) continue;
        entries.push_back({kThresholdNames[i], static_cast<std::uint32_t>((*written)[i] & 0xffffffff)});
    }
    std::vector<store::KeyFile::Change> changes;
    if (registry::set(place.key, entries, &changes) == store::Status::ok) {
        log_changes(state, changes);
        return true;
    }
    ZEL_TRACE(TRACE_LEVEL_ERROR, "%s (%s) cannot be written.", place.key.c_str(), state.sensor.name.c_str());
    return false;
}

bool any_settings() {
    return registry::key_exists(kSensors);
}

std::optional<ThresholdValues> kept_thresholds(const SensorState& state) {
    const Place place = place_of(state);
    if (place.owner == Place::Owner::nobody) return std::nullopt;
    ThresholdValues kept{};
    bool any = false;
    for (std::size_t i = 0; i < kept.size(); ++i) {
        const auto value = registry::get_dword(place.key, kThresholdNames[i]);
        kept[i] = value ? static_cast<std::int32_t>(*value) : SENSOR_NO_THRESHOLD;
        any = any || value;
    }
    return any ? std::optional(kept) : std::nullopt;
}

}  // namespace zel::bmc
