// SPDX-License-Identifier: GPL-3.0-or-later
// Reading and writing a sensor's thresholds, one request each, to the sensor's own LUN.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "controller.h"
#include "sdr_record.h"

namespace zel::bmc {

/// Thresholds as the controller keeps them.
struct ThresholdCodes {
    std::uint8_t mask = 0;  ///< Which of them are there, or are to be written.
    std::array<std::uint8_t, 6> codes{};

    [[nodiscard]] bool has(std::size_t threshold) const {
        return (mask >> kThresholdBits[threshold] & 1) != 0;
    }
    [[nodiscard]] std::uint8_t code(std::size_t threshold) const { return codes[kThresholdBits[threshold]]; }
    void set(std::size_t threshold, std::uint8_t code) {
        mask = static_cast<std::uint8_t>(mask | 1U << kThresholdBits[threshold]);
        codes[kThresholdBits[threshold]] = code;
    }
};

/// How a request about thresholds ended.
struct ThresholdReply {
    std::uint8_t completion = 0;  ///< 0: success. Others: refused, the reading is then empty.
    ThresholdCodes thresholds;    ///< Only the readable ones.
};

/// Nothing when the controller did not answer, here and below.
std::optional<ThresholdReply> read_thresholds(Controller& controller, const Sensor& sensor);

/// Writes the thresholds of the mask and leaves the others.
/// @return The completion code.
std::optional<std::uint8_t> write_thresholds(Controller& controller, const Sensor& sensor,
                                             const ThresholdCodes& wanted);

}  // namespace zel::bmc
