// SPDX-License-Identifier: GPL-3.0-or-later
#include "resources.h"
#include "settings/raid_settings.h"
#include "settings/threshold_file.h"

namespace zel::service {
namespace {

std::optional<int> read_raid() {
    int interval = 0;
    return settings::is_readable(settings::read_raid(interval)) ? std::optional(interval) : std::nullopt;
}

Changes raid_changes(int before, int after) {
    Changes changes;
    note_change(changes, settings::kRaidInterval.name, std::to_string(before), std::to_string(after));
    return changes;
}

}  // namespace

Reload raid_resource() {
    return reloading(read_raid, raid_changes);
}

}  // namespace zel::service
