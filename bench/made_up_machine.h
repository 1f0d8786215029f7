// SPDX-License-Identifier: GPL-3.0-or-later
// Machines with much to list.
#pragma once

#include <string>

#include "agent_service.h"

namespace bench {

/// Makes disks (as in /sys/block), and file systems to list: a real folder under each made-up mount, which statfs answers
/// for. A negative number leaves the machine's own.
/// @return The group [monitor] of agent.conf that names them.
std::string made_up_machine(const AgentService& agent, int disks, int mounts);

}  // namespace bench
