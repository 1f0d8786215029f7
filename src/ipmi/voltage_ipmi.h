// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

namespace zel {

/// The voltage panel: monitoring and thresholds (whole millivolts) of the management controller's voltage
/// sensors. Runs until the user leaves it, or ends at once when they cannot be read. The version is not
/// used: the panel goes by `ZelVersion`.
void VoltagePanel(std::int32_t version);

}  // namespace zel
