// SPDX-License-Identifier: GPL-3.0-or-later
// A shutdown that hangs: the timer is armed as the last thing that the agent does, and taken back at the next start.
#pragma once

#include "feeder.h"

namespace zel::watchdog {

/// The page that a feeder begins with: its own where the machine still runs, else that of a timer which may have been
/// left behind, by a shutdown or because the machine was restarted without one.
Page first_page();

/// Writes a page, and with it, for the next run of the machine, what it may leave behind. False, with errno set, when
/// the page could not be written.
bool write_page_and_rest(const Page& page);

/// Arms the timer by the settings for a shutdown. What runs and is not ours is left alone.
/// @return The process's exit status: 0 too where nothing is wanted.
int arm_for_shutdown();

/// Stops what was left behind, unless a feeder runs, which does so itself.
int take_back();

}  // namespace zel::watchdog
