// SPDX-License-Identifier: GPL-3.0-or-later
// The community names that an SNMP daemon's configuration, snmpd.conf, has it accept.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace zel::system {

// Bounds against configurations that are wrong or hostile. What lies beyond them is left out and
// logged, community names themselves never.
inline constexpr std::size_t kLongestCommunity = 99;  ///< Bytes of a name.
inline constexpr std::size_t kMostCommunities = 10'000;
inline constexpr int kDeepestInclude = 16;   ///< Files below the first one.
inline constexpr int kMostIncludes = 1'000;  ///< Files and folders, the first file counted too.
inline constexpr std::size_t kLargestFile = std::size_t{64} << 20;
inline constexpr std::size_t kLongestLine = std::size_t{64} << 10;

/// Reads the configuration with the files that it includes, as the daemon does.
/// @return Each name once, in order of appearance: UTF-8 without control characters, 1 to 99 bytes. Names that are
///         restricted to some sources are among them. Empty when the file cannot be read.
std::vector<std::string> read_communities(const std::string& path);

}  // namespace zel::system
