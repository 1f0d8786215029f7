// SPDX-License-Identifier: GPL-3.0-or-later
// Network interfaces: settings in the registry.
#include "client/service_client.h"
#include "handed_out.h"
#include "settings/registry_values.h"
#include "zel/access_monitor.h"

namespace {
namespace settings = zel::settings;
namespace client = zel::client;
using zel::access::handed_out;
}  // namespace

extern "C" int GetLanDataFromRegistry(LanSettingsRecord* r) try {
    const auto settings = settings::read_record(settings::kLan);
    if (!r || !settings) return 1;
    *r = *settings;
    handed_out<LanSettingsRecord>().keep(*settings);
    return 0;
} catch (...) {
    return 1;
}

extern "C" int TestInputLanParameter(const LanSettingsRecord* r) {
    constexpr std::array kBits{LAN_TEST_INTERVAL, LAN_TEST_HARDWARE, LAN_TEST_RETRY, LAN_TEST_ABORT};
    static_assert(kBits.size() == settings::kLan.fields.size());
    int faults = 0;
    for (std::size_t i = 0; i < kBits.size(); ++i) {
        const auto& [value, member] = settings::kLan.fields.at(i);
        if (!r || !value.allows(static_cast<std::uint64_t>(r->*member))) faults |= kBits.at(i);
    }
    return faults;
}

extern "C" int PutLanThreshold(const LanSettingsRecord* r) try {
    auto& known = handed_out<LanSettingsRecord>();
    if (!r || !settings::write_record(settings::kLan, *r, settings::kLan.key, {.before = known.last()}))
        return 0;
    known.saved(*r);
    client::notify("reset lan");  // a missing service reads the settings when it starts
    return 1;
} catch (...) {
    return 0;
}
