// SPDX-License-Identifier: GPL-3.0-or-later
// An event: one thing that administrators are told, as one line of JSON, as fields of the system's journal and as a
// sentence. zelagent-events(5) describes them.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "watch/judge.h"

namespace zel::tell {

inline constexpr int kSchema = 1;

struct Event {
    std::uint64_t seq = 0;  ///< Grows by one with each event, for ever.
    std::chrono::system_clock::time_point time = {};
    watch::Transition::Kind what = watch::Transition::Kind::level;
    std::string resource;
    std::string object;   ///< Fit for one line, see escape_name; so are kind and message.
    std::string id = {};  ///< What the source knows the object by, where that is not its name.
    std::string kind = {};
    watch::Level from = watch::Level::unknown;
    watch::Level to = watch::Level::unknown;
    std::optional<std::int64_t> value = {};
    std::string unit = {};
    std::optional<std::int64_t> limit = {};
    std::string message;
};

/// The event of a transition, without its number.
Event event_of(const watch::Transition& transition, std::chrono::system_clock::time_point time);

/// One line, without a line feed.
std::string to_line(const Event& event);
/// Nothing for a line that is no event.
std::optional<Event> from_line(std::string_view line);

/// A time as it is told: UTC, "2026-11-21T17:28:09.963Z".
std::string time_text(std::chrono::system_clock::time_point time);
std::optional<std::chrono::system_clock::time_point> time_of(const std::string& text);

/// How urgent: as syslog(3) numbers it.
int priority_of(const Event& event);

/// The name of what happened: "level", "unreadable", ...
const char* what_name(watch::Transition::Kind what);

}  // namespace zel::tell
