// SPDX-License-Identifier: GPL-3.0-or-later
#include "first_values.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>

#include "base/paths.h"
#include "bmc/settings.h"
#include "log.h"
#include "settings/values.h"
#include "store/key_file.h"
#include "store/registry.h"

namespace zel::service {
namespace {

/// True when the registry file has a text for this value. Asked of the file itself: a value whose type an
/// administrator forgot reads as missing, and yet it must not be written over.
bool stands_in_registry(std::string_view key, const char* name) {
    store::KeyFile file;
    store::read_key_file(store::registry::path(), file);
    return std::ranges::any_of(file.groups(), [&](const std::string& group) {
        std::string path = group;
        std::ranges::replace(path, '\\', '/');
        return ::strcasecmp(path.c_str(), std::string(key).c_str()) == 0 &&
               std::ranges::any_of(file.keys(group), [&](const std::string& one) {
                   return ::strcasecmp(one.c_str(), name) == 0;
               });
    });
}

/// Writes a value that is missing; false, and logged, when that failed.
bool write_missing(const char* key, const char* name, store::registry::Value value) {
    if (stands_in_registry(key, name)) return true;
    const std::array values{store::registry::Entry{name, std::move(value)}};
    if (store::registry::set(key, values) == store::Status::ok) return true;
    log(store::registry::path() + ": " + std::strerror(errno));
    return false;
}

/// The tabs of the sensors, where there is a management controller to read them from.
std::uint32_t sensor_tabs() {
    constexpr std::uint32_t kVoltage = 0x80;
    constexpr std::uint32_t kTemperature = 0x40;
    const auto settings = bmc::read_settings();
    if (!settings) {
        log(base::config_file() + ": [controller] is invalid; going on without a controller");
        return 0;
    }
    return bmc::is_present(*settings) ? kVoltage | kTemperature : 0;
}

}  // namespace

bool write_first_values() {
    const store::Status status = store::registry::check();
    if (status == store::Status::corrupt)  // the write below keeps it aside
        log(store::registry::path() + " does not parse; it is kept aside, going on with the defaults");
    if (status == store::Status::failed) {
        log(store::registry::path() + " cannot be read; going on with the defaults");
        return true;
    }
    const bool version = write_missing(settings::kVersion.key, settings::kVersion.name,
                                       std::string(settings::kVersion.fallback));
    const std::uint32_t tabs = sensor_tabs();
    return (tabs == 0 || write_missing("SOFTWARE/QUD/ZELAgent/CPL", "CplTabView", tabs)) && version;
}

}  // namespace zel::service
