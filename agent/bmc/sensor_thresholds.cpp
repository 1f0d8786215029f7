// SPDX-License-Identifier: GPL-3.0-or-later
#include "sensor_thresholds.h"

#include <algorithm>

namespace zel::bmc {
namespace {

constexpr std::uint8_t kSetSensorThresholds = 0x26;
constexpr std::uint8_t kGetSensorThresholds = 0x27;
constexpr std::uint8_t kAnswerCutOff = 0xff;  // IPMI's "unspecified error"

}  // namespace

std::optional<ThresholdReply> read_thresholds(Controller& controller, const Sensor& sensor) {
    const auto reply =
        controller.request(sensor.lun, kSensorEvent, kGetSensorThresholds, std::array{sensor.number});
    if (!reply) return std::nullopt;
    ThresholdReply result{reply->completion, {}};
    if (!reply->ok()) return result;
    if (reply->data.size() < 1 + result.thresholds.codes.size()) return ThresholdReply{kAnswerCutOff, {}};
    result.thresholds.mask = reply->data[0] & sensor.readable;
    std::copy_n(reply->data.begin() + 1, result.thresholds.codes.size(), result.thresholds.codes.begin());
    return result;
}

std::optional<std::uint8_t> write_thresholds(Controller& controller, const Sensor& sensor,
                                             const ThresholdCodes& wanted) {
    std::array<std::uint8_t, 8> data{sensor.number, wanted.mask};
    std::copy(wanted.codes.begin(), wanted.codes.end(), data.begin() + 2);
    const auto reply = controller.request(sensor.lun, kSensorEvent, kSetSensorThresholds, data);
    if (!reply) return std::nullopt;
    return reply->completion;
}

}  // namespace zel::bmc
