// SPDX-License-Identifier: GPL-3.0-or-later
// Where the agent keeps its files. Computed once per process from the environment and the build's prefix.
//
// ZelDir is taken only where nobody else could change what lies there, see trusted_folder.h.
//
//   ZelDir set and trusted                           otherwise                   written by
//   $ZelDir             the agent's directory        <prefix>/lib/zelagent       nobody
//   $ZelDir/agent.conf  configuration                /etc/zelagent/agent.conf    an administrator
//   $ZelDir/state       settings, root's logs        /var/lib/zelagent           root
//   $ZelDir/state       what the service keeps       /var/lib/zelagent/service   the service
//   $ZelDir/state       socket, named events         /run/zelagent               the service
//   $ZelDir/state       what everybody may read      /run/zelagent-public        the service
//   $ZelDir/state       the watchdog timer's state   /run/zelagent-watchdog      the timer's feeder
//   $ZelDir/state       what it keeps over a boot    /var/lib/zelagent/watchdog  the timer's feeder
//
// The installed service has a user of its own, which must not win anything from root: root reads the
// service's folders with care and makes no file there; the service reads the settings and cannot change them.
#pragma once

#include <string>

namespace zel::base {

/// True where `ZelDir` was taken: all of the agent belongs to whoever runs it.
bool is_private_agent();

/// The agent's directory, without a trailing slash: `data/` and `lib/` lie below it.
const std::string& agent_dir();

/// Folder of the settings: registry, threshold files. Mode 0700 when we make it; the package makes it 0750
/// with the service's group, which may then read each file that is written there (key_file.h).
const std::string& settings_folder();

/// Folder of what the service alone keeps over its restarts, readable by it and root.
const std::string& service_folder();

/// Folder of what this process keeps for itself: its trace log (in `log/`), its sensor records (in `sdr/`).
/// The service's is `service_folder()`; root's lies apart, where the service can put no link in its way.
const std::string& own_state_folder();

/// Folder of what lives no longer than the service runs: its socket, named events. For it and root.
const std::string& run_folder();

/// Folder of what the service lets everybody read while it runs (mode 0755 when installed). Nothing in it is
/// secret, nor a lock.
const std::string& public_folder();

/// Folder of what the watchdog timer's feeder knows of the timer, as long as the machine runs, and of what it keeps for
/// the next time. The first lives on when the feeder or the service ends: whose timer is running stands there.
const std::string& watchdog_folder();
const std::string& watchdog_kept_folder();

/// The agent's configuration, a key file that an administrator writes and no program changes.
const std::string& config_file();

/// Which of the agent's own folders (settings, or what lives as long as the machine runs) a path lies in, the
/// folder itself included; empty for a path elsewhere.
std::string own_root(const std::string& path);

/// Makes a folder and the missing ones above it, the last with mode 0700. True when it is there afterwards.
bool make_private_dir(const std::string& path);

}  // namespace zel::base
