// SPDX-License-Identifier: GPL-3.0-or-later
#include "sensor_reading.h"

#include <array>

#include "reading_factors.h"

namespace zel::bmc {

SensorReading read_value(Controller& controller, Sensor& sensor) {
    constexpr std::uint8_t kGetSensorReading = 0x2d;
    constexpr unsigned kScanned = 1U << 6U;
    constexpr unsigned kUnavailable = 1U << 5U;
    const auto reply =
        controller.request(sensor.lun, kSensorEvent, kGetSensorReading, std::array{sensor.number});
    if (!reply) return {.state = SensorReading::State::unreachable};
    const auto& data = reply->data;
    if (!reply->ok() || data.size() < 2 || (data[1] & kScanned) == 0 || (data[1] & kUnavailable) != 0)
        return {};
    if (!learn_code(controller, sensor, data[0])) return {.state = SensorReading::State::unreachable};
    if (!sensor.conversion.has_value(data[0])) return {};
    return {.state = SensorReading::State::value, .value = sensor.conversion.whole(data[0])};
}

}  // namespace zel::bmc
