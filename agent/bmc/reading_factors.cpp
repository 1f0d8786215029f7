// SPDX-License-Identifier: GPL-3.0-or-later
#include "reading_factors.h"

namespace zel::bmc {
namespace {

constexpr std::uint8_t kGetSensorReadingFactors = 0x23;

/// Hands each code of our thresholds without a value to `take`, with its factors. False when the controller
/// did not answer.
template <class Take>
bool ask_factors(Controller& controller, const Sensor& sensor, const ThresholdCodes& reading, Take take) {
    for (std::size_t i = 0; i < kThresholds; ++i) {
        const std::uint8_t code = reading.code(i);
        if (!reading.has(i) || sensor.conversion.has_value(code)) continue;
        const auto reply = controller.request(sensor.lun, kSensorEvent, kGetSensorReadingFactors,
                                              std::array{sensor.number, code});
        if (!reply) return false;
        // In front stands the next code that has factors of its own.
        const std::span<const std::uint8_t> data = reply->data;
        if (reply->ok() && data.size() > kFactorBytes) take(code, data.subspan<1, kFactorBytes>());
    }
    return true;
}

}  // namespace

bool learn_codes(Controller& controller, Sensor& sensor, const ThresholdCodes& reading) {
    if (!sensor.conversion.is_non_linear()) return true;
    return ask_factors(controller, sensor, reading, [&sensor](std::uint8_t code, auto factors) {
        sensor.conversion.learn(code, factors);
    });
}

bool learn_code(Controller& controller, Sensor& sensor, std::uint8_t code) {
    ThresholdCodes reading;
    reading.set(0, code);
    return learn_codes(controller, sensor, reading);
}

bool append_factors(Controller& controller, Record& record) {
    auto sensor = parse_record(record).sensor;
    if (!sensor || !sensor->conversion.is_non_linear() || sensor->readable == 0) return true;
    const auto reading = read_thresholds(controller, *sensor);
    if (!reading) return false;
    return ask_factors(controller, *sensor, reading->thresholds, [&](std::uint8_t code, auto factors) {
        sensor->conversion.learn(code, factors);
        record.push_back(code);
        record.insert(record.end(), factors.begin(), factors.end());
    });
}

}  // namespace zel::bmc
