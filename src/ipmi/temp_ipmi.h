// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

namespace zel {

/// The temperature panel: monitoring and thresholds (whole degrees Celsius) of the management controller's
/// temperature sensors. Runs until the user leaves it, or ends at once when they cannot be read. The version
/// is not used: the panel goes by `ZelVersion`.
void TemperaturePanel_IPMI(std::int32_t version);

}  // namespace zel
