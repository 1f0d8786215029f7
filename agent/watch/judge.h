// SPDX-License-Identifier: GPL-3.0-or-later
// Levels of all that is watched: readings in, transitions out. It asks no clock and touches no file.
#pragma once

#include <deque>
#include <map>
#include <set>
#include <span>
#include <string>
#include <tuple>
#include <vector>

#include "reading.h"

namespace zel::watch {

/// What there is to tell of one object.
struct Transition {
    enum class Kind {
        level,
        unreadable,  ///< Three looks in a row failed.
        readable,    ///< It can be read again.
        gone,        ///< It is no longer there, or no longer watched.
        unsteady,    ///< It changes too often to be told each time.
        steady,      ///< It no longer does.
        test,        ///< Nothing has happened: somebody tries how it is told.
        entry,       ///< Something that stands in a log; `about` of the reading is its text.
    } kind = Kind::level;
    std::string resource;
    Reading reading;  ///< Where it was read before, its last value.
    Level from = Level::unknown;
    Level to = Level::unknown;
    std::optional<std::int64_t> limit = {};  ///< The bound that was crossed.
};

using ThingName = std::tuple<std::string, std::string, std::string>;  ///< resource, object, kind

/// What is known of one object. Kept over restarts.
struct Thing {
    Level level = Level::unknown;
    Level told = Level::unknown;  ///< Differs while it is unsteady.
    bool stale = true;            ///< The level is that of an earlier look.
    bool unreadable = false;      ///< And that was told.
    bool unsteady = false;
    int missed = 0;                 ///< Looks in a row that failed.
    int rising = 0;                 ///< Readings in a row that would raise the level.
    int calm = 0;                   ///< Readings in a row that would end it.
    Level agreed = Level::unknown;  ///< What they would make of it.
    std::optional<std::int64_t> agreed_limit = {};
    Reading last = {};
    std::chrono::system_clock::time_point since = {};    ///< When the level was reached.
    std::chrono::system_clock::time_point sampled = {};  ///< When it was last read.
    std::deque<std::chrono::milliseconds> changes = {};  ///< The last ten, since boot.
    std::chrono::milliseconds unsteady_told = {};        ///< Since boot.
};

class Judge {
  public:
    /// Takes what one look at a resource found, and gives what is to be told of it, the worst first.
    /// @param readings  All of the resource that is there and watched: what was there before and is not now
    ///                  is gone.
    std::vector<Transition> take(const std::string& resource, std::span<const Reading> readings,
                                 const Now& now);

    /// Ends the level of a latched object.
    std::vector<Transition> reset(const std::string& resource, const std::string& object, const Now& now);

    [[nodiscard]] const std::map<ThingName, Thing>& things() const { return things_; }
    /// Goes on where another judge ended.
    void restore(ThingName name, Thing thing);
    /// As if this had been told: for what a log has and the kept state does not.
    void follow(const ThingName& name, Level level, bool gone);

  private:
    using Told = std::vector<Transition>;
    void take_away(const std::string& resource, const std::set<ThingName>& there, Told& told);
    void look(const std::string& resource, Thing& thing, const Reading& reading, const Now& now, Told& told);
    void change(const std::string& resource, Thing& thing, Level to, std::optional<std::int64_t> limit,
                const Now& now, Told& told);
    void settle(const std::string& resource, Thing& thing, const Now& now, Told& told);

    std::map<ThingName, Thing> things_;
};

}  // namespace zel::watch
