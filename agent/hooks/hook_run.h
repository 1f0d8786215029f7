// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <string>

#include "event_line.h"

namespace zel::hooks {

/// Has orphans of what this process starts become its children, and the end of a child told by a descriptor. To be
/// called once, with one thread, before any hook. False with errno set.
bool adopt_orphans();

/// Runs a hook on an event and waits until everything that it started has ended; what has not within `longest` is
/// killed. How it ended is said, unless it ended well.
/// @param program  The opened hook, see open_hook.
/// @return False when something of it could not be killed.
bool run_hook(const std::string& name, int program, const EventLine& event, std::chrono::seconds longest);

}  // namespace zel::hooks
