// SPDX-License-Identifier: GPL-3.0-or-later
// What agent.conf says: the file an administrator writes and no program changes.
#pragma once

#include <string>

namespace zel::store {

/// The text under `key` of [`group`], or `fallback` when the configuration gives none. A configuration that
/// cannot be read gives none, which is told in the trace log.
std::string configured(const std::string& group, const std::string& key, const std::string& fallback);

}  // namespace zel::store
