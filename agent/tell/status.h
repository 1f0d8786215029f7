// SPDX-License-Identifier: GPL-3.0-or-later
// The present state, for everybody to read: `status.json` in the public folder.
#pragma once

#include <cstdint>
#include <string>

#include "watch/judge.h"

namespace zel::tell {

inline constexpr const char* kStatusName = "status.json";

/// What the status has besides what is judged.
struct StatusFacts {
    std::string version;
    std::string controller = "none";  ///< "answering", "silent", "none".
    std::uint64_t requests = 0;       ///< To the controller, since the service began.
    std::string watchdog = "off";
    std::string watchdog_detail = {};
};

/// Replaces the file at once with what the judge knows (mode 0644); it is not synced, for it means nothing after a
/// restart. False with errno set when that failed; the former file then stands.
bool write_status(const std::string& folder, const watch::Judge& judge, const StatusFacts& facts,
                  std::chrono::system_clock::time_point time);

}  // namespace zel::tell
