// SPDX-License-Identifier: GPL-3.0-or-later
#include "judge.h"

#include <time.h>

#include <algorithm>
#include <array>
#include <utility>

namespace zel::watch {
namespace {

using namespace std::chrono_literals;

constexpr std::array kLevelNames{"unknown", "ok", "warning", "fatal"};
constexpr int kMissesUntilTold = 3;
constexpr std::size_t kChangesUntilUnsteady = 10;
constexpr std::chrono::milliseconds kUnsteadySpan = 10min;
constexpr std::chrono::milliseconds kUnsteadyPause = 1h;

bool reports(const Limits& limits, std::int64_t value, std::int64_t bound) {
    if (limits.strict && value == bound) return false;
    return limits.falling ? value <= bound : value >= bound;
}
bool resets(const Limits& limits, std::int64_t value, std::int64_t bound) {
    return limits.falling ? value >= bound : value <= bound;
}

struct Verdict {
    Level level;
    std::optional<std::int64_t> limit;  ///< What made it so.
};

/// What a value makes of a level on one side. Between report and reset a level stays, and fatal falls to warning before
/// it falls to ok.
Verdict judge_side(Level before, const Limits& limits, std::int64_t value) {
    const auto& [fatal, warning] = std::tie(limits.fatal, limits.warning);
    if (fatal && reports(limits, value, fatal->report)) return {Level::fatal, fatal->report};
    if (fatal && before == Level::fatal && !resets(limits, value, fatal->reset)) return {before, {}};
    if (warning && reports(limits, value, warning->report))
        return {Level::warning, before == Level::fatal && fatal ? fatal->reset : warning->report};
    if (warning && before >= Level::warning && !resets(limits, value, warning->reset))
        return {Level::warning, before == Level::fatal && fatal ? fatal->reset : warning->report};
    if (before < Level::warning) return {Level::ok, {}};
    const auto& left = warning ? warning : fatal;
    return {Level::ok, left ? std::optional(left->reset) : std::nullopt};
}

/// The worse of both sides.
Verdict judge(Level before, const Limits& limits, std::int64_t value) {
    const Verdict verdict = judge_side(before, limits, value);
    if (!limits.low_fatal && !limits.low_warning) return verdict;
    const Verdict low = judge_side(
        before, {.fatal = limits.low_fatal, .warning = limits.low_warning, .falling = true}, value);
    return low.level > verdict.level ? low : verdict;
}

Transition transition(Transition::Kind kind, const std::string& resource, const Thing& thing) {
    return {.kind = kind,
            .resource = resource,
            .reading = thing.last,
            .from = thing.told,
            .to = thing.level,
            .limit = {}};
}

/// Readings in a row that are on one side of the level agree on what is nearest to it. Nothing while there are too few.
std::optional<Verdict> agree(Thing& thing, const Verdict& verdict, const Limits& limits) {
    const bool ends = verdict.level < thing.level;
    const bool rises = verdict.level > thing.level;
    const bool goes_on = (ends && thing.calm > 0) || (rises && thing.rising > 0);
    const bool nearer = ends ? verdict.level > thing.agreed : verdict.level < thing.agreed;
    if (!goes_on || nearer) {
        thing.agreed = verdict.level;
        thing.agreed_limit = verdict.limit;
    }
    thing.calm = ends ? thing.calm + 1 : 0;
    thing.rising = rises ? thing.rising + 1 : 0;
    const bool ended = ends && thing.calm >= limits.calm && !limits.latched;
    // That something is as it should be needs no second reading.
    const bool risen = rises && (thing.rising >= limits.rise || verdict.level == Level::ok);
    return ended || risen ? std::optional<Verdict>({thing.agreed, thing.agreed_limit}) : std::nullopt;
}

ThingName name_of(const std::string& resource, const Reading& reading) {
    return {resource, reading.object, reading.kind};
}

}  // namespace

const char* level_name(Level level) {
    return kLevelNames.at(static_cast<std::size_t>(level));
}

std::optional<Level> level_of(const std::string& name) {
    const auto* found = std::ranges::find(kLevelNames, name);
    if (found == kLevelNames.end()) return std::nullopt;
    return static_cast<Level>(found - kLevelNames.begin());
}

std::string unit_sign(const std::string& unit) {
    constexpr std::array kSigns{std::pair{"percent", "%"}, std::pair{"degrees", "°C"},
                                std::pair{"millivolts", "mV"}};
    const auto* const known = std::ranges::find(kSigns, unit, &std::pair<const char*, const char*>::first);
    return known != kSigns.end() ? known->second : unit;
}

Now now() {
    timespec boot{};
    ::clock_gettime(CLOCK_BOOTTIME, &boot);
    return {.wall = std::chrono::system_clock::now(),
            .since_boot =
                std::chrono::seconds(boot.tv_sec) + std::chrono::duration_cast<std::chrono::milliseconds>(
                                                        std::chrono::nanoseconds(boot.tv_nsec))};
}

std::vector<Transition> Judge::take(const std::string& resource, std::span<const Reading> readings,
                                    const Now& now) {
    Told told;
    std::set<ThingName> there;
    for (const Reading& reading : readings) {
        auto name = name_of(resource, reading);
        look(resource, things_[name], reading, now, told);
        there.insert(std::move(name));
    }
    take_away(resource, there, told);
    std::ranges::stable_sort(told, std::ranges::greater{}, &Transition::to);
    return told;
}

/// An object of which nothing is left is told of once, whatever was judged of it.
void Judge::take_away(const std::string& resource, const std::set<ThingName>& there, Told& told) {
    std::map<std::string, Transition> whole;
    const auto is_whole = [&](const std::string& object) {
        const auto next = there.lower_bound({resource, object, ""});
        return next == there.end() || std::get<1>(*next) != object;
    };
    std::erase_if(things_, [&](const auto& one) {
        const auto& [name, thing] = one;
        const auto& [owner, object, kind] = name;
        if (owner != resource || there.contains(name)) return false;
        if (thing.told == Level::unknown) return true;
        Transition gone = transition(Transition::Kind::gone, resource, thing);
        gone.to = Level::unknown;
        if (!is_whole(object)) {
            told.push_back(std::move(gone));
        } else if (const auto known = whole.find(object); known == whole.end()) {
            gone.reading.kind.clear();
            whole.emplace(object, std::move(gone));
        } else {
            known->second.from = std::max(known->second.from, gone.from);
        }
        return true;
    });
    for (auto& [object, gone] : whole)
        told.push_back(std::move(gone));
}

void Judge::look(const std::string& resource, Thing& thing, const Reading& reading, const Now& now,
                 Told& told) {
    const Reading before = std::exchange(thing.last, reading);
    if (reading.state != Reading::State::value) {
        thing.last.value = before.value;
        thing.stale = true;
    }
    if (reading.state == Reading::State::unreadable && ++thing.missed == kMissesUntilTold) {
        thing.unreadable = true;
        told.push_back(transition(Transition::Kind::unreadable, resource, thing));
    }
    if (reading.state != Reading::State::value) return settle(resource, thing, now, told);

    thing.missed = 0;
    thing.stale = false;
    thing.sampled = now.wall;
    if (std::exchange(thing.unreadable, false))
        told.push_back(transition(Transition::Kind::readable, resource, thing));
    const auto [level, limit] = judge(thing.level, reading.limits, reading.value);
    if (const auto agreed = agree(thing, {level, limit}, reading.limits))
        change(resource, thing, agreed->level, agreed->limit, now, told);
    settle(resource, thing, now, told);
}

/// What is told of an unsteady object is that it is unsteady, and the level in which it came to rest.
void Judge::change(const std::string& resource, Thing& thing, Level to, std::optional<std::int64_t> limit,
                   const Now& now, Told& told) {
    const bool known = thing.level != Level::unknown;
    thing.level = to;
    thing.since = now.wall;
    thing.calm = 0;
    thing.rising = 0;
    if (!known && to == Level::ok) thing.told = to;  // as it should be, from the first look on
    if (known) thing.changes.push_back(now.since_boot);
    if (thing.changes.size() > kChangesUntilUnsteady) thing.changes.pop_front();
    if (!thing.unsteady && thing.told != to) {
        told.push_back(transition(Transition::Kind::level, resource, thing));
        told.back().limit = limit;
        thing.told = to;
    }
    const bool often = thing.changes.size() == kChangesUntilUnsteady &&
                       thing.changes.back() - thing.changes.front() <= kUnsteadySpan;
    const bool due = !thing.unsteady || now.since_boot - thing.unsteady_told >= kUnsteadyPause;
    if ((!often && !thing.unsteady) || !due) return;
    thing.unsteady = true;
    thing.unsteady_told = now.since_boot;
    told.push_back(transition(Transition::Kind::unsteady, resource, thing));
    thing.told = to;
}

/// Ends an hour without a change.
void Judge::settle(const std::string& resource, Thing& thing, const Now& now, Told& told) {
    if (!thing.unsteady) return;
    if (!thing.changes.empty() && now.since_boot - thing.changes.back() < kUnsteadyPause) return;
    thing.unsteady = false;
    thing.changes.clear();
    told.push_back(transition(Transition::Kind::steady, resource, thing));
    thing.told = thing.level;
}

std::vector<Transition> Judge::reset(const std::string& resource, const std::string& object, const Now& now) {
    Told told;
    for (auto& [name, thing] : things_) {
        if (std::get<0>(name) != resource || std::get<1>(name) != object || !thing.last.limits.latched)
            continue;
        if (thing.level > Level::ok) change(resource, thing, Level::ok, std::nullopt, now, told);
    }
    return told;
}

void Judge::restore(ThingName name, Thing thing) {
    things_.insert_or_assign(std::move(name), std::move(thing));
}

void Judge::follow(const ThingName& name, Level level, bool gone) {
    if (gone) {
        const bool whole = std::get<2>(name).empty();
        std::erase_if(things_, [&](const auto& one) {
            const auto& [resource, object, kind] = one.first;
            return ThingName(resource, object, whole ? "" : kind) == name;
        });
        return;
    }
    Thing& thing = things_[name];
    thing.level = level;
    thing.told = level;
}

}  // namespace zel::watch
