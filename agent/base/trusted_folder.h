// SPDX-License-Identifier: GPL-3.0-or-later
// Paths that somebody else may have handed us - in the environment, in a configuration - and that we take
// code or programs from. Such a path is taken only when nobody but root and the caller (the effective user)
// can change what it leads to, now or later.
#pragma once

#include <optional>
#include <string>

namespace zel::base {

/// Follows a path to its end. Each folder on the way, each link and what they lead to must belong to root or
/// the caller and must not be writable by group or others; only folders above the end may be writable when
/// they are sticky, as /tmp is.
/// @return The path without links; nothing, with the reason in `fault`, when somebody else has a hand in it
///         or it does not exist. `fault` is fit for a terminal.
std::optional<std::string> trusted_path(const std::string& path, std::string& fault);

/// The agent's directory as `ZelDir` of the environment names it, without links: nothing when it names none,
/// or when privileges differ. One that others could change, or whose `lib`, `data`, `state` or `agent.conf`
/// lead where others could, is taken out of the environment and reported in one line on standard error.
std::optional<std::string> agent_dir_of_environment();

}  // namespace zel::base
