// SPDX-License-Identifier: GPL-3.0-or-later
#include "status.h"

#include <fcntl.h>
#include <sys/stat.h>

#include "base/json_text.h"
#include "base/own_folder.h"
#include "event.h"
#include "settings/threshold_file.h"

namespace zel::tell {
namespace {

using base::Json;
using watch::Level;

/// The bound that counts next: that of the level it has, else the one it would reach first.
std::optional<std::int64_t> limit_of(const watch::Thing& thing) {
    const auto& limits = thing.last.limits;
    const bool fatal = thing.level == Level::fatal;
    const auto& bounds = fatal || !limits.warning ? limits.fatal : limits.warning;
    const auto& low = fatal || !limits.low_warning ? limits.low_fatal : limits.low_warning;
    // Of two sides the low one where the value is near it.
    const std::int64_t value = thing.last.value;
    if (low && (!bounds || value - low->report < (bounds->report - low->report) / 4)) return low->report;
    return bounds ? std::optional(bounds->report) : std::nullopt;
}

Json object_of(const watch::ThingName& name, const watch::Thing& thing) {
    const auto& [resource, object, kind] = name;
    Json json{{"resource", resource}, {"object", settings::escape_name(object)}};
    if (!thing.last.id.empty()) json["id"] = thing.last.id;
    if (!kind.empty()) json["kind"] = kind;
    json["level"] = level_name(thing.level);
    json["stale"] = thing.stale;
    const bool known = thing.level != Level::unknown;
    json["value"] = known ? Json(thing.last.value) : Json(nullptr);
    json["unit"] = thing.last.unit;
    const auto limit = limit_of(thing);
    json["limit"] = limit ? Json(*limit) : Json(nullptr);
    json["since"] = known ? Json(time_text(thing.since)) : Json(nullptr);
    json["sampled"] = known ? Json(time_text(thing.sampled)) : Json(nullptr);
    return json;
}

}  // namespace

bool write_status(const std::string& folder_name, const watch::Judge& judge, const StatusFacts& facts,
                  std::chrono::system_clock::time_point time) {
    Json objects = Json::array();
    for (const auto& [name, thing] : judge.things())
        objects.push_back(object_of(name, thing));
    const Json json{{"schema", kSchema},
                    {"time", time_text(time)},
                    {"version", facts.version},
                    {"controller", {{"state", facts.controller}, {"requests", facts.requests}}},
                    {"watchdog", {{"state", facts.watchdog}, {"detail", facts.watchdog_detail}}},
                    {"objects", objects}};
    const std::string next = std::string(kStatusName) + ".next";
    const auto folder = base::OwnFolder::make(folder_name);
    const auto file = folder ? folder.open_file(next, O_WRONLY | O_CREAT | O_TRUNC, 0644) : base::UniqueFd();
    return file && ::fchmod(file.get(), 0644) == 0 &&
           base::write_all(file.get(), base::json_text(json) + '\n') && folder.rename(next, kStatusName);
}

}  // namespace zel::tell
