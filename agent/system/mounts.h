// SPDX-License-Identifier: GPL-3.0-or-later
// The mounted file systems.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace zel::system {

/// Longest path of a file system, in bytes.
inline constexpr std::size_t kLongestMountPath = 4095;

/// What is in use and what others than root may still use, in bytes.
struct Space {
    std::uint64_t used = 0;
    std::uint64_t available = 0;
};

struct Mount {
    std::string path;
    std::uint64_t device = 0;  ///< The kernel's number of the file system.
    /// It is the root, or lies on this machine's own storage and can fill up. Others (network, made up by the
    /// kernel, read-only images) are listed only where an administrator saved their path.
    bool local = false;
    /// Mounted from its own root, not a folder of it; or part of a pool, whose mounts are all alike.
    bool whole = false;
    /// One hundredth of the capacity in MiB, rounded down; nothing when it has none or was not asked.
    std::optional<std::uint64_t> hundredth = {};
    std::optional<Space> space = {};  ///< Likewise.
};

/// All that is mounted (agent.conf, [monitor] mountinfo: where else the kernel lists it) and can be seen, in
/// the order of mounting; swap and longer paths left out. None of them is asked anything. Nothing, and
/// logged, when the system's list cannot be read.
std::optional<std::vector<Mount>> read_mounts();

/// Paths that are saved in the settings; true for those that are watched.
using SavedPaths = std::map<std::string, bool>;

/// True for a mount that may be listed.
bool is_candidate(const Mount& mount, const SavedPaths& saved);

/// Of the candidates among `mounts` those to be listed, the root first, then by path: each file system once,
/// under "/" before a saved path before the shortest one; and whatever else is watched.
std::vector<Mount> choose_mounts(const std::vector<Mount>& mounts, const SavedPaths& saved);

}  // namespace zel::system
