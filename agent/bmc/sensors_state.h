// SPDX-License-Identifier: GPL-3.0-or-later
// What this process knows of one sensor, in the numbers that callers see: whole degrees Celsius or
// millivolts.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "sensor_thresholds.h"
#include "zel/access_ipmi.h"

namespace zel::bmc {

/// High fatal, high warning, low warning, low fatal; each may be SENSOR_NO_THRESHOLD.
using ThresholdValues = std::array<std::int64_t, kThresholds>;

inline constexpr std::array<const char*, kThresholds> kThresholdNames{"HighFatal", "HighWarning",
                                                                      "LowWarning", "LowFatal"};

/// What thresholds may be set to, ends included.
struct ThresholdLimits {
    std::int64_t high_max = 0;
    std::int64_t high_min = 0;
    std::int64_t low_max = 0;
    std::int64_t low_min = 0;
};

struct SensorState {
    Sensor sensor{};
    std::string controller{};  ///< Whose it is, as SensorList has it.
    bool known = false;        ///< The fields below were read from the controller.
    ThresholdCodes reading{};
    ThresholdValues values{};
    ThresholdLimits limits{};
    bool settable = false;
    std::uint32_t monitor = SENSOR_NO_MONITORING;
};

/// Takes over thresholds just read: values, limits (the sensor's range, widened to the values) and settable,
/// which is whether any of them can be set.
void take_reading(SensorState& state, const ThresholdCodes& reading);

/// True when there are thresholds, all within the limits, falling strictly from the first to the last.
bool passes_rules(const ThresholdValues& values, const ThresholdLimits& limits);

enum class WriteResult {
    done,         ///< Read, or written and read back.
    refused,      ///< By the controller or by us; traced. Other sensors may do.
    unreachable,  ///< The controller does not answer.
};

/// Reads a sensor's thresholds. A sensor that refuses has none.
WriteResult read_sensor(Controller& controller, SensorState& state);

/// True when a threshold of that value is what the sensor has: the same number, or one that it can only keep
/// as the code that it has.
bool has_value(const SensorState& state, std::size_t threshold, std::int64_t value);

/// Writes the thresholds that differ from the known ones, in one request, and reads back. Asks the controller
/// nothing when none differs, or when one is missing, cannot be set, out of the limits or cannot be encoded;
/// or when what the controller would then have were out of order, non-recoverable thresholds among it.
WriteResult write_sensor(Controller& controller, SensorState& state, const ThresholdValues& wanted);

}  // namespace zel::bmc
