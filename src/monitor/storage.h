// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

namespace zel {

/// The storage device panel: sampling interval, reset of a device's service and, with agent version code 1,
/// the error thresholds of each device. Runs until the user leaves it.
void StoragePanel(std::int32_t version);

}  // namespace zel
