// SPDX-License-Identifier: GPL-3.0-or-later
// The log of events, in the service's folder: what the service that writes it and the hooks that read it agree on.
#pragma once

#include <cstddef>

namespace zel::base {

inline constexpr const char* kEventLogName = "events.jsonl";
inline constexpr const char* kOlderEventLogName = "events.jsonl.1";

/// The longest line that is an event, in bytes without the line feed.
inline constexpr std::size_t kLongestEventLine = std::size_t{16} << 10;

}  // namespace zel::base
