// SPDX-License-Identifier: GPL-3.0-or-later
// Where the agent keeps its files. Computed once per process from the environment and the build's prefix.
//
// ZelDir is taken only where nobody else could change what lies there, see trusted_folder.h.
//
//   ZelDir set and trusted                         otherwise
//   $ZelDir                  the agent's directory  <prefix>/lib/zelagent
//   $ZelDir/state            settings               /var/lib/zelagent
//   $ZelDir/state            socket, named events   /run/zelagent
//   $ZelDir/agent.conf       configuration          /etc/zelagent/agent.conf
#pragma once

#include <string>

namespace zel::store {

/// The agent's directory, without a trailing slash: `data/` and `lib/` lie below it.
const std::string& agent_dir();

/// Folder of the settings: registry, threshold files, trace logs (in `log/`). Mode 0700 when we make it.
const std::string& state_dir();

/// Folder of what lives no longer than the machine runs: the service's socket, named events.
const std::string& runtime_dir();

/// The agent's configuration, a key file that an administrator writes and no program changes.
const std::string& config_file();

/// Which of the agent's own folders (settings, or what lives as long as the machine runs) a path lies in, the
/// folder itself included; empty for a path elsewhere.
std::string own_root(const std::string& path);

/// Makes a folder and the missing ones above it, the last with mode 0700. True when it is there afterwards.
bool make_private_dir(const std::string& path);

}  // namespace zel::store
