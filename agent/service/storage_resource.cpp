// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>

#include "named_changes.h"
#include "resources.h"
#include "settings/storage_settings.h"
#include "system/disks.h"

namespace zel::service {
namespace {

std::optional<settings::StorageSettings> read_storage() {
    settings::StorageSettings settings;
    return settings::is_readable(settings::read_storage(settings)) ? std::optional(std::move(settings))
                                                                   : std::nullopt;
}

void compare_devices(Changes& changes, const std::string& device, const settings::StorageItems& before,
                     const settings::StorageItems& after) {
    const auto watched = [](const StorageThresholdItem& item) {
        return item.state == STORAGE_STATE_ON ? "on" : "off";
    };
    for (std::size_t i = 0; i < before.size(); ++i) {
        const std::string kind = device + ' ' + settings::kStorageKinds.at(i).name;
        const StorageThresholdItem& was = before.at(i);
        const StorageThresholdItem& is = after.at(i);
        note_change(changes, kind + " fatal", std::to_string(was.fatal), std::to_string(is.fatal));
        note_change(changes, kind + " warning", std::to_string(was.warning), std::to_string(is.warning));
        note_change(changes, kind + " watch", watched(was), watched(is));
    }
}

Changes storage_changes(const settings::StorageSettings& before, const settings::StorageSettings& after) {
    return interval_and_named_changes(before, after, &settings::StorageSettings::devices, compare_devices);
}

}  // namespace

Reload storage_resource() {
    return reloading(read_storage, storage_changes);
}

bool is_storage_device(const std::string& name) {
    const auto disks = system::list_disks();
    return disks && std::ranges::find(*disks, name) != disks->end();
}

}  // namespace zel::service
