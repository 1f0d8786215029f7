// SPDX-License-Identifier: GPL-3.0-or-later
// Changes of resources that hold settings of many named things: devices, file systems.
#pragma once

#include <map>
#include <string>

#include "resources.h"
#include "settings/threshold_file.h"

namespace zel::service {

/// Adds what changed between two readings, in the order of the names: names that only one has, and through
/// `compare` (changes, name, before, after) the others. Names are made fit for a log line. Ends at a bound: a
/// file of ten thousand things must not hold up the service.
template <class Each, class Compare>
void note_named_changes(Changes& changes, const std::map<std::string, Each>& before,
                        const std::map<std::string, Each>& after, Compare compare) {
    constexpr std::size_t kMostTold = 1000;
    auto was = before.begin();
    auto is = after.begin();
    while (was != before.end() || is != after.end()) {
        if (changes.size() >= kMostTold) {
            changes.emplace_back("further changes are not told");
            return;
        }
        if (is == after.end() || (was != before.end() && was->first < is->first)) {
            changes.push_back(settings::escape_name((was++)->first) + " is no longer in the file");
        } else if (was == before.end() || is->first < was->first) {
            changes.push_back(settings::escape_name((is++)->first) + " is new in the file");
        } else {
            compare(changes, settings::escape_name(is->first), was->second, is->second);
            ++was;
            ++is;
        }
    }
}

/// What changed between two readings of such a resource's settings: the interval, then the things of
/// `member`.
template <class Settings, class Things, class Compare>
Changes interval_and_named_changes(const Settings& before, const Settings& after, Things Settings::*member,
                                   Compare compare) {
    Changes changes;
    note_change(changes, settings::kInterval.name, std::to_string(before.interval),
                std::to_string(after.interval));
    note_named_changes(changes, before.*member, after.*member, compare);
    return changes;
}

}  // namespace zel::service
