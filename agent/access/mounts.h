// SPDX-License-Identifier: GPL-3.0-or-later
// The mounted file systems.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace zel::access {

/// Longest path of a file system, in bytes.
inline constexpr std::size_t kLongestMountPath = 4095;

struct Mount {
    std::string path;
    std::uint64_t device = 0;  ///< The kernel's number of the file system.
    /// It lies on this machine's own storage and can fill up. Others (network, made up by the kernel,
    /// read-only images) are never asked anything: a dead server would not answer.
    bool local = false;
    bool whole = false;  ///< Mounted from its own root, not a folder of it.
};

/// All that is mounted (agent.conf, [monitor] mountinfo: where else the kernel tells it) and can be seen, in
/// the order of mounting; swap and longer paths left out. Nothing, told in the trace log, when the system's
/// list cannot be read.
std::optional<std::vector<Mount>> read_mounts();

/// Of `mounts` those to be watched: the local ones, and others only when they are `saved`. Each file system
/// once, under a saved path before others. The root comes first, then by path.
std::vector<Mount> choose_mounts(const std::vector<Mount>& mounts,
                                 const std::function<bool(const std::string&)>& saved);

/// One hundredth of a local file system's capacity in MiB, rounded down. Nothing when it has none or cannot
/// be asked.
std::optional<std::uint64_t> hundredth_of_capacity(const std::string& path);

}  // namespace zel::access
