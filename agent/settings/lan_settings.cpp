// SPDX-License-Identifier: GPL-3.0-or-later
#include "lan_settings.h"

namespace zel::settings {

std::optional<LanSettingsRecord> read_lan() {
    if (!registry_readable()) return std::nullopt;
    LanSettingsRecord settings{};
    for (const LanValue& value : kLanValues) {
        settings.*value.field =
            static_cast<std::int32_t>(read_number(kLanKey, value.name, value.allowed, value.fallback));
    }
    return settings;
}

}  // namespace zel::settings
