// SPDX-License-Identifier: GPL-3.0-or-later
// The storage settings while their panel is open, and the sub-panel that edits one device's thresholds.
#pragma once

#include <zel/access_monitor.h>

#include <cstdint>
#include <string_view>

namespace zel::storage {

extern StorageNames HD;          ///< Device names; "none" in the first when there is no device.
extern std::int32_t count;       ///< Devices in `HD`, 0 to 1024.
extern std::int32_t interval;    ///< Seconds between two samples, 1 to 3600.
extern StorageValues value;      ///< The thresholds as saved or accepted.
extern StorageValues value_tmp;  ///< The sub-panel's working copy.
/// Set when anything was changed in this run of the program; never cleared, so that every OK after a change
/// writes.
extern std::int32_t value_changed;

/// The device's name, read with the bound of its field.
std::string_view device_name(std::int32_t device);

/// 0 when all four kinds of errors of a device are in order in the working copy, else -1.
int check_threshold(std::int32_t device);

/// 1 when a device's working copy differs from the saved thresholds, else 0. A kind that is switched off
/// gets its saved thresholds back first.
int threshold_changed(std::int32_t device);

/// Edits the thresholds of one device (0-based); they reach `value` when its OK finds them in order.
void ThresholdSubPanel(std::int32_t device);

}  // namespace zel::storage
