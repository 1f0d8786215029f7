// SPDX-License-Identifier: GPL-3.0-or-later
#include "resources.h"
#include "settings/lan_settings.h"

namespace zel::service {
namespace {

Changes lan_changes(const LanSettingsRecord& before, const LanSettingsRecord& after) {
    Changes changes;
    for (const settings::LanValue& value : settings::kLanValues) {
        note_change(changes, value.name, std::to_string(before.*value.field),
                    std::to_string(after.*value.field));
    }
    return changes;
}

}  // namespace

Reread lan_resource() {
    return rereading(settings::read_lan, lan_changes);
}

}  // namespace zel::service
