// SPDX-License-Identifier: GPL-3.0-or-later
// The timer that a shutdown set, kept over the boot that follows, so that the next start knows it for ours.
#pragma once

#include <optional>
#include <string>

#include "bmc/watchdog_timer.h"

namespace zel::watchdog {

struct ShutdownTimer {
    bmc::TimerSetting setting;
    std::string boot;  ///< The run of the machine that ended with it.
};

/// Nothing where there is none.
std::optional<ShutdownTimer> read_shutdown_timer();
/// Both durably; false, with errno set, on failure.
bool keep_shutdown_timer(const ShutdownTimer& timer);
bool forget_shutdown_timer();

}  // namespace zel::watchdog
