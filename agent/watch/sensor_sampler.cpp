// SPDX-License-Identifier: GPL-3.0-or-later
// The management controller's temperature and voltage sensors. Their thresholds are read when they are found; later the
// administrator's are kept in the registry, and the controller is asked for nothing but readings.
#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <string>

#include "bmc/request_limit.h"
#include "bmc/sensor_list.h"
#include "bmc/sensor_reading.h"
#include "bmc/sensor_registry.h"
#include "bmc/settings.h"
#include "sampler.h"
#include "store/registry.h"
#include "zel/trace.h"

namespace zel::watch {
namespace {

constexpr const char* kModule = "sensor_sampler";
constexpr std::chrono::seconds kInterval{60};
/// Controllers are slow, and others ask them as well: two requests a second at most, some of them for other things than
/// the readings of both kinds, and no more than half of the time.
constexpr std::size_t kMostReadingsAMinute = 108;
constexpr int kShareOfTime = 2;
/// Of a sweep that goes on for longer the rest is given up.
constexpr std::chrono::minutes kLongestSweep{10};
constexpr int kAgreeing = 2;
/// What stands for the controller itself among the temperatures, so that its silence is told once.
constexpr const char* kController = "controller";

/// How far a value has to go back beyond a threshold: a step of the sensor, a whole unit at least.
std::int64_t step_at(const bmc::Sensor& sensor, std::int64_t value) {
    const auto code = sensor.conversion.code(value);
    if (!code) return 1;
    const int neighbour = *code > 0 ? *code - 1 : *code + 1;
    const double step = std::abs(sensor.conversion.exact(*code) -
                                 sensor.conversion.exact(static_cast<std::uint8_t>(neighbour)));
    return std::isnan(step) ? 1 : std::max<std::int64_t>(1, std::llround(std::ceil(step)));
}

/// The administrator's thresholds where there are any, else those that the controller has.
bmc::ThresholdValues thresholds_of(const bmc::SensorState& state) {
    bmc::ThresholdValues values = state.values;
    const auto kept = bmc::kept_thresholds(state);
    for (std::size_t i = 0; kept && i < values.size(); ++i)
        if (values[i] != SENSOR_NO_THRESHOLD && (*kept)[i] != SENSOR_NO_THRESHOLD) values[i] = (*kept)[i];
    return values;
}

Limits limits_of(const bmc::SensorState& state) {
    const bmc::ThresholdValues values = thresholds_of(state);
    const auto bounds = [&](std::size_t threshold, int back) -> std::optional<Bounds> {
        const std::int64_t value = values[threshold];
        if (value == SENSOR_NO_THRESHOLD) return std::nullopt;
        return Bounds{value, value + back * step_at(state.sensor, value)};
    };
    return {.fatal = bounds(0, -1),
            .warning = bounds(1, -1),
            .low_fatal = bounds(3, 1),
            .low_warning = bounds(2, 1),
            .rise = kAgreeing,
            .calm = kAgreeing};
}

class SensorSampler : public Sampler {
  public:
    SensorSampler(bmc::Kind kind, std::size_t most) : kind_(kind), most_(most) {}

    std::vector<Reading> look(const Now& /*now*/) override {
        if (!bmc::is_present()) {
            sensors_.clear();
            return {};
        }
        const bmc::RequestLimit limit(kLongestSweep);
        const auto began = std::chrono::steady_clock::now();
        std::vector<Reading> readings;
        answers_ = read_all(find(), readings);
        read_of(kind_) = readings.size();
        pace(std::chrono::steady_clock::now() - began);
        if (kind_ == bmc::Kind::temperature) readings.push_back(controller_reading());
        return readings;
    }

    [[nodiscard]] std::chrono::seconds interval() const override { return interval_; }

  private:
    /// Finds the sensors and their thresholds, at first and when the controller was away or is another one.
    bool find() {
        bmc::Controller& controller = bmc::controller();
        if (answers_ && controller.target() == target_) return true;
        auto found = bmc::find_sensors(controller, kind_, most_);
        if (!found) return false;
        std::vector<bmc::SensorState> sensors;
        for (bmc::Sensor& sensor : found->sensors) {
            sensors.push_back({.sensor = std::move(sensor), .controller = found->controller});
            if (bmc::read_sensor(controller, sensors.back()) == bmc::WriteResult::unreachable) return false;
        }
        sensors_ = std::move(sensors);
        target_ = controller.target();
        return true;
    }

    /// How many sensors of a kind are read.
    static std::atomic<std::size_t>& read_of(bmc::Kind kind) {
        static std::array<std::atomic<std::size_t>, 2> sensors{};
        return sensors.at(kind == bmc::Kind::temperature ? 0 : 1);
    }

    /// More sensors, or slower ones, than a minute has room for are read less often.
    void pace(std::chrono::steady_clock::duration sweep) {
        const std::size_t all = read_of(bmc::Kind::temperature) + read_of(bmc::Kind::voltage);
        const auto needed = std::max({kInterval, std::chrono::seconds(all * 60 / kMostReadingsAMinute),
                                      std::chrono::ceil<std::chrono::seconds>(sweep * kShareOfTime)});
        if (needed > interval_)
            ZEL_TRACE(TRACE_LEVEL_INFO, "The sensors are read each %lld s.",
                      static_cast<long long>(needed.count()));
        interval_ = needed;
    }

    /// False when the controller does not answer, or stops to; what was not read then has no reading.
    bool read_all(bool answers, std::vector<Reading>& readings) {
        const store::registry::Pinned pinned;
        for (bmc::SensorState& state : sensors_) {
            if (bmc::monitor_flag(state) != 1) continue;
            const auto read =
                answers ? bmc::read_value(bmc::controller(), state.sensor) : bmc::SensorReading{};
            answers = answers && read.state != bmc::SensorReading::State::unreachable;
            readings.push_back(reading(state, read));
        }
        return answers;
    }

    [[nodiscard]] Reading reading(const bmc::SensorState& state, const bmc::SensorReading& read) const {
        const bool value = read.state == bmc::SensorReading::State::value;
        return {.object = state.sensor.name,
                .id = state.sensor.place(),
                .state = value ? Reading::State::value : Reading::State::nothing,
                .value = read.value,
                .unit = kind_ == bmc::Kind::temperature ? "degrees" : "millivolts",
                .about = "%v",
                .limits = limits_of(state)};
    }

    [[nodiscard]] Reading controller_reading() const {
        return {.object = kController,
                .state = answers_ ? Reading::State::value : Reading::State::unreadable,
                .value = static_cast<std::int64_t>(sensors_.size()),
                .unit = "sensors",
                .about = "%v"};
    }

    bmc::Kind kind_;
    std::size_t most_;
    std::vector<bmc::SensorState> sensors_;
    std::string target_;
    std::chrono::seconds interval_ = kInterval;
    bool answers_ = false;
};

}  // namespace

std::unique_ptr<Sampler> temperature_sampler() {
    return std::make_unique<SensorSampler>(bmc::Kind::temperature, TEMP_SENSORS_MAX);
}

std::unique_ptr<Sampler> voltage_sampler() {
    return std::make_unique<SensorSampler>(bmc::Kind::voltage, VOLT_SENSORS_MAX);
}

}  // namespace zel::watch
