// SPDX-License-Identifier: GPL-3.0-or-later
// What samplers find out and the judge judges.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zel::watch {

/// How bad a watched thing is, from the best.
enum class Level { unknown, ok, warning, fatal };
/// The names under which levels are told and kept: "unknown", "ok", "warning", "fatal".
const char* level_name(Level level);
std::optional<Level> level_of(const std::string& name);

/// When a level is reached and when it is left again.
struct Bounds {
    std::int64_t report = 0;
    std::int64_t reset = 0;
    bool operator==(const Bounds&) const = default;
};

/// By what a value is judged.
struct Limits {
    std::optional<Bounds> fatal = {};
    std::optional<Bounds> warning = {};
    std::optional<Bounds> low_fatal = {};  ///< Beside these, where what is low is bad as well: a temperature.
    std::optional<Bounds> low_warning = {};  ///< See low_fatal.
    bool falling = false;                    ///< What is low is bad: free space.
    bool strict = false;                     ///< A level is reached beyond report, not at it.
    int rise = 1;                            ///< So many readings in a row at or beyond report raise one.
    int calm = 1;                            ///< So many readings in a row at or beyond reset end a level.
    bool latched = false;                    ///< Only `Judge::reset` ends a level.
};

/// The unit of what is no quantity: the value numbers states.
inline constexpr const char* kStateUnit = "state";

/// What stands behind a number of this unit, as people write it: "%", "°C".
std::string unit_sign(const std::string& unit);

/// One look at one watched thing.
struct Reading {
    std::string object;     ///< Path, device, interface: names it within its resource.
    std::string id = {};    ///< What the source knows it by, where that is not its name.
    std::string kind = {};  ///< Which of several values of an object; empty where there is one.
    enum class State {
        value,
        nothing,     ///< Nothing that could be judged has happened: an idle interface, a span not yet over.
        unreadable,  ///< It is there and could not be read.
    } state = State::nothing;
    std::int64_t value = 0;
    const char* unit = "";
    std::string about = {};  ///< "load %v over 60 s": how the value is told; %v is the value with its unit.
    Limits limits = {};
};

/// What stands in a log: it happened, and has no level.
struct Entry {
    std::string object;  ///< Which log.
    std::string id;      ///< Of the entry in that log.
    std::string text;    ///< From outside, of any bytes.
};

/// The times of a look: by the system's clock, and since the machine was started, which nobody sets.
struct Now {
    std::chrono::system_clock::time_point wall{};
    std::chrono::milliseconds since_boot{};
};
Now now();

}  // namespace zel::watch
