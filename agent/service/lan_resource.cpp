// SPDX-License-Identifier: GPL-3.0-or-later
#include "access/lan_settings.h"
#include "resources.h"

namespace zel::service {
namespace {

Changes lan_changes(const LanSettingsRecord& before, const LanSettingsRecord& after) {
    Changes changes;
    for (const access::LanValue& value : access::kLanValues) {
        note_change(changes, value.name, std::to_string(before.*value.field),
                    std::to_string(after.*value.field));
    }
    return changes;
}

}  // namespace

Reread lan_resource() {
    return rereading(access::read_lan, lan_changes);
}

}  // namespace zel::service
