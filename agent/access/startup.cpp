// SPDX-License-Identifier: GPL-3.0-or-later
// What a program asks when it starts: what machine this is, where the agent lives, whether its service runs.
//
//   agent.conf
//   [hardware]
//   fault_tolerant=true|false   missing: false
//   model=<number>              missing: 0, an unknown model
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

#include "base/paths.h"
#include "client/service_client.h"
#include "store/key_file.h"
#include "zel/access_monitor.h"
#include "zel/trace.h"

namespace {

namespace store = zel::store;

constexpr const char* kModule = "startup";

/// Reads agent.conf; a missing one is empty, and so is one that does not parse (which is traced): a slip of
/// an editor must not keep an administrator from the tool.
store::Status read_config(store::KeyFile& config) {
    const store::Status status = store::read_key_file(zel::base::config_file(), config);
    if (status == store::Status::not_found) return store::Status::ok;
    if (status != store::Status::ok) {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "%s %s.", zel::base::config_file().c_str(),
                  status == store::Status::corrupt ? "does not parse" : "cannot be read");
    }
    return status;
}

/// A record that holds the model number; false when the configuration gives none that makes sense.
bool fill_hardware_id(HwIdRecord& record) {
    record = {};
    store::KeyFile config;
    if (read_config(config) != store::Status::ok) return false;
    const auto text = config.get("hardware", "model");
    const auto keys = config.keys("hardware");
    if (!text && std::find(keys.begin(), keys.end(), "model") == keys.end()) return true;
    const auto model = config.get_int("hardware", "model");
    if (!model || *model < 0 || *model > std::numeric_limits<std::int32_t>::max()) {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "[hardware] model is not a model number.");
        return false;
    }
    record.modelNumber = *model;
    return true;
}

}  // namespace

extern "C" int call_zel_is_ft(void) try {
    errno = 0;  // why reading failed is for the caller
    store::KeyFile config;
    if (read_config(config) == store::Status::failed) return -1;
    const auto text = config.get("hardware", "fault_tolerant");
    if (text && *text != "true" && *text != "false") {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "[hardware] fault_tolerant is neither true nor false, taken as false.");
    }
    return text == "true" ? 1 : 0;
} catch (...) {
    return -1;
}

extern "C" int CheckNTserverReady(void) try {
    constexpr std::chrono::seconds kPatience{1};
    errno = 0;  // what talking to the service leaves there is for the caller
    const auto answer = zel::client::request("ping", std::chrono::steady_clock::now() + kPatience);
    return answer.text.starts_with("ok ZELntserver ") ? 0 : -1;
} catch (...) {
    return -1;
}

extern "C" int GetHWIDFromProc(HwIdRecord* record) try {
    return record && fill_hardware_id(*record) ? 1 : 0;
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
