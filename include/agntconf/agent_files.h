// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

namespace zel {

/// Path of the sensor-sharing library in the agent's directory; empty when that is not told.
std::string shared_sensor_library();

}  // namespace zel
