// SPDX-License-Identifier: GPL-3.0-or-later
// The management controller's temperature and voltage sensors.
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>

#include "bmc/controller_visit.h"
#include "bmc/sensor_list.h"
#include "bmc/sensor_registry.h"
#include "bmc/settings.h"
#include "resource.h"

namespace zel::ctl {
namespace {

/// In the order of bmc::ThresholdValues.
constexpr std::array kWords{"high.fatal", "high.warning", "low.warning", "low.fatal"};
constexpr std::array kMeanings{"at or above it: fatal", "at or above it: warning", "at or below it: warning",
                               "at or below it: fatal"};

const char* resource_name(bmc::Kind kind) {
    return kind == bmc::Kind::temperature ? "temperature" : "voltage";
}

/// Tells on a terminal how far a long reading is.
class Progress {
  public:
    explicit Progress(const char* what) : what_(what) {}
    ~Progress() {
        if (told_) std::fputs("\r\033[K", stderr);
    }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void at(std::size_t number, std::size_t all) {
        constexpr std::chrono::seconds kPatience{1};
        if (!terminal_ || std::chrono::steady_clock::now() < began_ + kPatience) return;
        std::fprintf(stderr, "\r%s sensors: %zu of %zu", what_, number, all);
        told_ = true;
    }

  private:
    const char* what_;
    std::chrono::steady_clock::time_point began_ = std::chrono::steady_clock::now();
    bool terminal_ = ::isatty(STDERR_FILENO) == 1;
    bool told_ = false;
};

Exit unreachable(const char* resource, Problems& problems) {
    problems.push_back({resource, bmc::is_present() ? "the management controller does not answer"
                                                    : "no management controller is configured"});
    return Exit::no_controller;
}

/// Those of one kind are read once.
Exit read_sensors(Contents& contents, bmc::Kind kind, std::size_t most, Problems& problems) {
    const char* const resource = resource_name(kind);
    if (!bmc::is_present()) return unreachable(resource, problems);
    const bmc::ControllerVisit visit;
    auto found = bmc::find_sensors(bmc::controller(), kind, most);
    if (!found) return unreachable(resource, problems);
    Progress progress(resource);
    std::size_t number = 0;
    for (bmc::Sensor& sensor : found->sensors) {
        progress.at(++number, found->sensors.size());
        bmc::SensorState state{.sensor = std::move(sensor), .controller = found->controller};
        if (bmc::read_sensor(bmc::controller(), state) == bmc::WriteResult::unreachable)
            return unreachable(resource, problems);
        state.monitor = bmc::monitor_flag(state);
        contents.values.sensors.push_back({.monitor = state.monitor, .values = state.values});
        contents.sensors.push_back(std::move(state));
    }
    return Exit::done;
}

void list_threshold(Contents& contents, std::size_t row, std::size_t threshold, const std::string& object) {
    const bmc::SensorState& state = contents.sensors[row];
    const bool high = threshold < 2;
    const bool temperature = state.sensor.kind == bmc::Kind::temperature;
    const auto kind = std::make_shared<Kind>(
        Kind{.least = high ? state.limits.high_min : state.limits.low_min,
             .greatest = high ? state.limits.high_max : state.limits.low_max,
             .unit = temperature ? settings::Unit::degrees : settings::Unit::millivolts,
             .meaning = kMeanings.at(threshold),
             .read_only = !state.settable || !state.sensor.can_set(threshold)});
    contents.settings.push_back(number_setting(
        {resource_name(state.sensor.kind), object, kWords.at(threshold)}, kind, {},
        [ row, threshold ](auto& values) -> auto& { return values.sensors[row].values[threshold]; }));
}

void list_sensor(Contents& contents, std::size_t row) {
    static const auto kName = std::make_shared<Kind>(Kind{.type = Kind::Type::text,
                                                          .greatest = 127,
                                                          .meaning = "what the controller calls it",
                                                          .read_only = true});
    static const auto kMonitor =
        std::make_shared<Kind>(Kind{.type = Kind::Type::flag, .meaning = "whether it is watched"});
    const bmc::SensorState& state = contents.sensors[row];
    const std::string resource = resource_name(state.sensor.kind);
    const std::string object = state.sensor.place();
    contents.settings.push_back({.path = {resource, object, "name"},
                                 .kind = kName,
                                 .fallback = {},
                                 .get = [name = state.sensor.name](const Values&) { return name; },
                                 .put = [](Values&, const Scalar&) {}});
    if (state.monitor != SENSOR_NO_MONITORING)
        contents.settings.push_back(number_setting(
            {resource, object, "monitor"}, kMonitor,
            true, [row](auto& values) -> auto& { return values.sensors[row].monitor; }));
    for (std::size_t i = 0; i < kWords.size(); ++i)
        if (state.values[i] != SENSOR_NO_THRESHOLD) list_threshold(contents, row, i, object);
    for (const std::string& name : {state.sensor.name, state.sensor.own_name}) {
        const auto [known, fresh] =
            contents.aliases.try_emplace({resource, settings::escape_name(name)}, object);
        if (!fresh && known->second != object) known->second.clear();
    }
}

void list_sensors(Contents& contents, bmc::Kind kind) {
    for (std::size_t row = 0; row < contents.sensors.size(); ++row)
        if (contents.sensors[row].sensor.kind == kind) list_sensor(contents, row);
}

/// What became of the sensors that were to change.
struct Outcome {
    bool any_written = false;
    bool any_refused = false;
    bool reachable = true;
};

void write_sensor(bmc::SensorState& state, const SensorChoice& wanted, Outcome& outcome, Problems& failure) {
    const std::string path = text_of({resource_name(state.sensor.kind), state.sensor.place()});
    const bool changed = wanted.values != state.values;
    bool written = false;
    if (changed && outcome.reachable) {
        const auto result = bmc::write_sensor(bmc::controller(), state, wanted.values);
        written = result == bmc::WriteResult::done;
        outcome.reachable = result != bmc::WriteResult::unreachable;
        if (result == bmc::WriteResult::refused)
            failure.push_back({path, "the thresholds were refused; the trace log says why"});
    }
    if (changed && !outcome.reachable) failure.push_back({path, "the management controller does not answer"});
    if (!bmc::keep_settings(state, wanted.monitor, written ? &wanted.values : nullptr)) {
        failure.push_back({path, "the registry cannot be written"});
        outcome.any_refused = true;
    }
    outcome.any_written = outcome.any_written || written || !changed;
    outcome.any_refused = outcome.any_refused || (changed && !written);
}

}  // namespace

Exit read_temperatures(Contents& contents, Problems& problems) {
    return read_sensors(contents, bmc::Kind::temperature, TEMP_SENSORS_MAX, problems);
}

Exit read_voltages(Contents& contents, Problems& problems) {
    return read_sensors(contents, bmc::Kind::voltage, VOLT_SENSORS_MAX, problems);
}

void list_temperature(Contents& contents) {
    list_sensors(contents, bmc::Kind::temperature);
}

void list_voltage(Contents& contents) {
    list_sensors(contents, bmc::Kind::voltage);
}

void judge_sensors(const Contents& contents, const Values& wanted, Problems& problems) {
    for (std::size_t row = 0; row < wanted.sensors.size(); ++row) {
        const bmc::SensorState& state = contents.sensors[row];
        const SensorChoice& one = wanted.sensors[row];
        if (one == contents.values.sensors[row] || bmc::passes_rules(one.values, state.limits)) continue;
        problems.push_back({text_of({resource_name(state.sensor.kind), state.sensor.place()}),
                            "must fall from high.fatal over high.warning and low.warning to low.fatal"});
    }
}

Exit write_sensors(Contents& contents, const Values& wanted, Problems& failure) {
    const bmc::ControllerVisit visit;
    Outcome outcome;
    for (std::size_t row = 0; row < wanted.sensors.size(); ++row)
        if (wanted.sensors[row] != contents.values.sensors[row])
            write_sensor(contents.sensors[row], wanted.sensors[row], outcome, failure);
    if (!outcome.any_refused) return Exit::done;
    return outcome.any_written || outcome.reachable ? Exit::in_part : Exit::no_controller;
}

}  // namespace zel::ctl
