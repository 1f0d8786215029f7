// SPDX-License-Identifier: GPL-3.0-or-later
// What a program asks when it starts: what machine this is, where the agent lives, whether its service runs.
//
//   agent.conf
//   [hardware]
//   fault_tolerant=true|false   missing: false
//   model=<number>              missing: 0, an unknown model
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <limits>
#include <string>

#include "base/paths.h"
#include "client/service_client.h"
#include "store/agent_config.h"
#include "zel/access_monitor.h"

extern "C" int call_zel_is_ft(void) try {
    errno = 0;  // why reading failed is for the caller
    zel::store::ConfigGroup hardware("hardware");
    if (hardware.status() == zel::store::Status::failed) return -1;
    return hardware.choice("fault_tolerant", zel::store::kTruths, false) ? 1 : 0;
} catch (...) {
    return -1;
}

extern "C" int CheckNTserverReady(void) try {
    constexpr std::chrono::seconds kPatience{1};
    if (zel::client::is_service_marked()) return 0;
    errno = 0;  // what talking to the service leaves there is for the caller
    const auto answer = zel::client::request("ping", std::chrono::steady_clock::now() + kPatience);
    return answer.text.starts_with("ok ZELntserver ") ? 0 : -1;
} catch (...) {
    return -1;
}

extern "C" int GetHWIDFromProc(HwIdRecord* record) try {
    if (!record) return 0;
    *record = {};
    zel::store::ConfigGroup hardware("hardware");
    record->modelNumber = hardware.number("model", 0, std::numeric_limits<std::int32_t>::max(), 0);
    return hardware.valid() ? 1 : 0;
} catch (...) {
    return 0;
}

extern "C" int GetQudHwidFor38(HwIdRecord* record) {
    return GetHWIDFromProc(record);
}

extern "C" int GetZelRootPath(char* buffer, int size) try {
    if (!buffer || size < 1) return 0;
    const std::string& path = zel::base::agent_dir();
    const bool fits = path.size() < static_cast<std::size_t>(size);
    buffer[fits ? path.copy(buffer, path.size()) : 0] = '\0';
    return fits ? 1 : 0;
} catch (...) {
    return 0;
}
