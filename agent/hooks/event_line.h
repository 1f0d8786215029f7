// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zel::hooks {

/// One event as a hook gets it.
struct EventLine {
    std::uint64_t seq = 0;
    std::string line;                    ///< As it stands in the log, without the line feed.
    std::vector<std::string> variables;  ///< "ZEL_SEQ=42", ...: each on one line, without a zero, bounded.
};

/// Takes a line of the log apart; nothing when it is no event.
std::optional<EventLine> parse_event(std::string_view line);

}  // namespace zel::hooks
