// SPDX-License-Identifier: GPL-3.0-or-later
// What the settings of the two timers come to on this machine.
//
//   agent.conf
//   [monitor]
//   sys_module=/sys/module   where the kernel's modules stand
//   sys_kernel=/sys/kernel   what the kernel says of kexec
#pragma once

#include <optional>

#include "bmc/settings.h"
#include "feeder.h"

namespace zel::watchdog {

/// The settings of the watchdog timer as they stand now; nothing when they cannot be read.
/// @param controller  How it is reached; nothing where agent.conf is not valid.
std::optional<Orders> watchdog_orders(const std::optional<bmc::Settings>& controller);
/// The same of a shutdown that hangs; `interval` and `generation` mean nothing.
std::optional<Orders> shutdown_orders(const std::optional<bmc::Settings>& controller);

/// How the feeder reaches the controller: no longer than five seconds are waited for an answer, so that a lost one is
/// asked for again while there is time.
std::optional<bmc::Settings> feeder_controller();

}  // namespace zel::watchdog
