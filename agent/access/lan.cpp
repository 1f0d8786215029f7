// SPDX-License-Identifier: GPL-3.0-or-later
// Network interfaces: settings in the registry.
#include <vector>

#include "client/service_client.h"
#include "settings/lan_settings.h"
#include "zel/access_monitor.h"

namespace {
namespace settings = zel::settings;
namespace client = zel::client;
}  // namespace

extern "C" int GetLanDataFromRegistry(LanSettingsRecord* r) try {
    const auto settings = settings::read_lan();
    if (!r || !settings) return 1;
    *r = *settings;
    return 0;
} catch (...) {
    return 1;
}

extern "C" int TestInputLanParameter(const LanSettingsRecord* r) {
    int faults = 0;
    for (const settings::LanValue& value : settings::kLanValues) {
        if (!r || !value.allowed(static_cast<std::uint64_t>(r->*value.field))) faults |= value.bit;
    }
    return faults;
}

extern "C" int PutLanThreshold(const LanSettingsRecord* r) try {
    if (TestInputLanParameter(r) != 0) return 0;
    std::vector<zel::store::registry::Entry> entries;
    entries.reserve(settings::kLanValues.size());
    for (const settings::LanValue& value : settings::kLanValues) {
        entries.push_back({value.name, static_cast<std::uint32_t>(r->*value.field)});
    }
    if (!settings::write_values(settings::kLanKey, entries)) return 0;
    client::notify("reset lan");  // a missing service reads the settings when it starts
    return 1;
} catch (...) {
    return 0;
}
