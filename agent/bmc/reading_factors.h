// SPDX-License-Identifier: GPL-3.0-or-later
// Sensors that are not linear in a way of their own: only the controller knows what a code stands for, and
// gives it one code at a time.
#pragma once

#include "controller.h"
#include "sdr_repository.h"
#include "sensor_thresholds.h"

namespace zel::bmc {

/// Has the sensor learn what those of our thresholds stand for that it does not know yet; one request each,
/// none for other sensors. What the controller refuses has no value.
/// @return False when the controller did not answer.
bool learn_codes(Controller& controller, Sensor& sensor, const ThresholdCodes& reading);

/// The same for one code, as of a reading.
bool learn_code(Controller& controller, Sensor& sensor, std::uint8_t code);

/// Puts what the present thresholds of such a sensor stand for behind its record, to be kept with it.
/// @return False when the controller did not answer.
bool append_factors(Controller& controller, Record& record);

}  // namespace zel::bmc
