// SPDX-License-Identifier: GPL-3.0-or-later
// Where the system describes what can be watched, as agent.conf may place it elsewhere.
//
//   [monitor]
//   sys_block=/sys/block
//   mountinfo=/proc/self/mountinfo
#pragma once

#include <string>

namespace zel::access {

/// The path under `key`, or `fallback` when the configuration does not give one.
std::string monitor_path(const std::string& key, const std::string& fallback);

}  // namespace zel::access
