// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/file_io.h"

namespace zel::hooks {

/// True for a name that a hook may have: letters, digits, "_" and "-", then ".sh" if you like. What editors and
/// packages leave (`mail~`, `mail.dpkg-old`) has none. At most 128 bytes.
bool is_hook_name(std::string_view name);

/// The folder with the hooks.
std::string hooks_folder();

/// The names of what may be a hook, in the order of their bytes. A folder that others than root (or, with a private
/// agent, the caller) could change holds none, which is said once for each reason.
std::vector<std::string> hook_names();

/// A hook, opened once and judged by what was opened, to be executed by that descriptor: nobody can put another file
/// in its place between. No descriptor for one that cannot be executed, and for one that others could change, which
/// is said once for each reason.
base::UniqueFd open_hook(const std::string& name);

}  // namespace zel::hooks
