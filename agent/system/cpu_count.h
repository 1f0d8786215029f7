// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string_view>

namespace zel::system {

/// How many CPUs one of the kernel's lists, such as "0-3,8-11", names. Nothing for a list that is empty, out
/// of order or no list.
std::optional<int> cpus_in_list(std::string_view list);

/// CPUs that are plugged in (agent.conf, [monitor] cpu_present: where else the kernel lists them), also those
/// switched off at present; empty slots do not count. Without a valid list, which is logged, those that are switched on. At least 1.
int count_cpus();

}  // namespace zel::system
