// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

namespace zel {

/// The event-log panel: the interval at which the alert manager scans the system's event log. Runs until
/// the user leaves it.
void SyslogPanel();

/// Reads the interval in seconds. 1 and `*value` set, or 0 and it is unchanged.
int GetIntervalValue(std::uint32_t* value);

/// Stores the interval in seconds. 1 when it was written, else 0.
int SetIntervalValue(std::uint32_t value);

}  // namespace zel
