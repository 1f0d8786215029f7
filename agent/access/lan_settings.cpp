// SPDX-License-Identifier: GPL-3.0-or-later
#include "lan_settings.h"

#include <variant>

#include "store/registry.h"
#include "zel/tracelog.h"

namespace zel::access {
namespace {

namespace registry = store::registry;

std::int32_t read_value(const LanValue& value) {
    const auto stored = registry::get(kLanKey, value.name);
    if (!stored) return value.fallback;
    const auto* number = std::get_if<std::uint32_t>(&*stored);
    if (number && *number >= static_cast<std::uint32_t>(value.least) &&
        *number <= static_cast<std::uint32_t>(value.greatest)) {
        return static_cast<std::int32_t>(*number);
    }
    TraceLog(TRACE_LEVEL_ERROR, "lan", __func__, __LINE__,
             "%s %s is not a number from %d to %d, taken as %d.", kLanKey, value.name, value.least,
             value.greatest, value.fallback);
    return value.fallback;
}

}  // namespace

std::optional<LanSettingsRecord> read_lan() {
    if (registry::check() != store::Status::ok) {
        TraceLog(TRACE_LEVEL_ERROR, "lan", __func__, __LINE__, "The registry cannot be read.");
        return std::nullopt;
    }
    LanSettingsRecord settings{};
    for (const LanValue& value : kLanValues) {
        settings.*value.field = read_value(value);
    }
    return settings;
}

}  // namespace zel::access
