// SPDX-License-Identifier: GPL-3.0-or-later
// What a sensor reads at present.
#pragma once

#include <cstdint>

#include "controller.h"
#include "sdr_record.h"

namespace zel::bmc {

struct SensorReading {
    enum class State {
        value,
        none,         ///< The controller has no reading: not scanned, not there, refused.
        unreachable,  ///< It did not answer.
    } state = State::none;
    std::int64_t value = 0;  ///< Degrees Celsius or millivolts.
};

/// Asks for the reading: one request, and one more for what a code stands for that a sensor that is not linear in a way
/// of its own has not had before.
SensorReading read_value(Controller& controller, Sensor& sensor);

}  // namespace zel::bmc
