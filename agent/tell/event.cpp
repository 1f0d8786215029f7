// SPDX-License-Identifier: GPL-3.0-or-later
#include "event.h"

#include <syslog.h>
#include <time.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <limits>

#include "base/event_file.h"
#include "base/json_text.h"
#include "chars/plain.h"
#include "settings/threshold_file.h"
#include "watch/sampler.h"

namespace zel::tell {
namespace {

using base::Json;
using base::number_at;
using base::text_at;
using watch::Level;
using What = watch::Transition::Kind;

constexpr std::array kWhatNames{"level",    "unreadable", "readable", "gone",
                                "unsteady", "steady",     "test",     "entry"};
// As struct tm counts them: what the clock's type can hold, and some more.
constexpr int kFirstYear = 70;
constexpr int kLastYear = 300;

std::string amount(std::int64_t value, const std::string& unit) {
    const std::string sign = watch::unit_sign(unit);
    return std::to_string(value) + (sign.empty() ? "" : ' ' + sign);
}

/// How the value is told: "load 97 % over 60 s".
std::string told_value(const watch::Reading& reading) {
    std::string text = reading.about;
    if (const std::size_t place = text.find("%v"); place != std::string::npos)
        text.replace(place, 2, amount(reading.value, reading.unit));
    return text;
}

std::string told_level(const watch::Transition& transition) {
    std::string level = level_name(transition.to);
    // Where the value is no number for people, its bounds are none either.
    if (!transition.limit || transition.reading.about.find("%v") == std::string::npos) return level;
    const bool worse = transition.to > transition.from;
    const char* const above = worse && transition.reading.limits.strict ? "above " : "at ";
    return level + (worse ? " (reported " : " again (reset ") + above +
           amount(*transition.limit, transition.reading.unit) + ')';
}

std::string sentence(const watch::Transition& transition) {
    std::string level = level_name(transition.to);
    switch (transition.kind) {
        case What::level:
            return told_value(transition.reading) + ", " + told_level(transition);
        case What::unreadable:
            return "cannot be read; it was " + level;
        case What::readable:
            return "can be read again; it was " + level;
        case What::gone:
            return std::string("no longer there or no longer watched; it was ") + level_name(transition.from);
        case What::unsteady:
            return "unsteady, " + level + " now; told once an hour until it is steady for an hour";
        case What::steady:
            return "steady again, " + level;
        case What::test:
            return "nothing has happened; this is how an alert arrives";
        case What::entry:
            return chars::escaped(transition.reading.about);
    }
    return level;
}

}  // namespace

const char* what_name(What what) {
    return kWhatNames.at(static_cast<std::size_t>(what));
}

Event event_of(const watch::Transition& transition, std::chrono::system_clock::time_point time) {
    const watch::Reading& reading = transition.reading;
    Event event{.time = time,
                .what = transition.kind,
                .resource = transition.resource,
                .object = settings::escape_name(reading.object),
                .id = reading.id,
                .kind = reading.kind,
                .from = transition.from,
                .to = transition.to,
                .limit = transition.limit,
                .message = {}};
    if (transition.kind == What::level || transition.kind == What::unsteady) {
        event.value = reading.value;
        event.unit = reading.unit;
    }
    event.message = watch::title_of(event.resource) + ' ' + event.object + ": " + sentence(transition);
    return event;
}

std::string to_line(const Event& event) {
    Json json{{"schema", kSchema},
              {"seq", event.seq},
              {"time", time_text(event.time)},
              {"event", what_name(event.what)},
              {"resource", event.resource},
              {"object", event.object}};
    if (!event.id.empty()) json["id"] = event.id;
    if (!event.kind.empty()) json["kind"] = event.kind;
    json["from"] = level_name(event.from);
    json["to"] = level_name(event.to);
    if (event.value) json["value"] = *event.value;
    if (!event.unit.empty()) json["unit"] = event.unit;
    if (event.limit) json["limit"] = *event.limit;
    json["message"] = event.message;
    return base::json_text(json);
}

std::optional<Event> from_line(std::string_view line) try {
    if (line.size() > base::kLongestEventLine) return std::nullopt;
    const auto json = base::parse_json(line);
    if (!json.is_object()) return std::nullopt;
    const auto seq = number_at(json, "seq");
    const auto time = time_of(text_at(json, "time"));
    const auto from = watch::level_of(text_at(json, "from"));
    const auto to = watch::level_of(text_at(json, "to"));
    const auto what = std::ranges::find(kWhatNames, text_at(json, "event"));
    if (number_at(json, "schema") != kSchema || !seq || *seq < 1 || !time || !from || !to ||
        what == kWhatNames.end())
        return std::nullopt;
    return Event{.seq = static_cast<std::uint64_t>(*seq),
                 .time = *time,
                 .what = static_cast<What>(what - kWhatNames.begin()),
                 .resource = text_at(json, "resource"),
                 .object = text_at(json, "object"),
                 .id = text_at(json, "id"),
                 .kind = text_at(json, "kind"),
                 .from = *from,
                 .to = *to,
                 .value = number_at(json, "value"),
                 .unit = text_at(json, "unit"),
                 .limit = number_at(json, "limit"),
                 .message = text_at(json, "message")};
} catch (const std::exception&) {
    return std::nullopt;
}

std::string time_text(std::chrono::system_clock::time_point time) {
    const auto milliseconds = std::chrono::floor<std::chrono::milliseconds>(time.time_since_epoch()).count();
    const std::time_t seconds = static_cast<std::time_t>(milliseconds / 1000);
    tm parts{};
    ::gmtime_r(&seconds, &parts);
    std::array<char, 40> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts);
    std::snprintf(text.data() + length, text.size() - length, ".%03dZ",
                  static_cast<int>(milliseconds % 1000));
    return text.data();
}

std::optional<std::chrono::system_clock::time_point> time_of(const std::string& text) {
    tm parts{};
    const char* const rest = ::strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S", &parts);
    const std::string_view fraction = rest ? rest : "";
    constexpr std::size_t kLength = 5;  // ".123Z"
    if (fraction.size() != kLength || fraction.front() != '.' || fraction.back() != 'Z') return std::nullopt;
    int milliseconds = 0;
    const char* const end = fraction.data() + kLength - 1;
    const auto [stop, error] = std::from_chars(fraction.data() + 1, end, milliseconds);
    if (error != std::errc{} || stop != end || milliseconds < 0 || parts.tm_year < kFirstYear ||
        parts.tm_year > kLastYear)
        return std::nullopt;
    return std::chrono::system_clock::from_time_t(::timegm(&parts)) + std::chrono::milliseconds(milliseconds);
}

int priority_of(const Event& event) {
    if (event.what == What::unreadable || event.what == What::unsteady || event.what == What::entry)
        return LOG_WARNING;
    if (event.what != What::level || event.to <= event.from) return LOG_NOTICE;
    return event.to == Level::fatal ? LOG_CRIT : LOG_WARNING;
}

}  // namespace zel::tell
