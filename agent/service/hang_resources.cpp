// SPDX-License-Identifier: GPL-3.0-or-later
#include "resources.h"
#include "settings/hang_settings.h"

namespace zel::service {
namespace {

template <const auto& values>
constexpr auto changes_of = [](const auto& before, const auto& after) {
    Changes changes;
    for (const auto& value : values) {
        note_change(changes, value.name, std::to_string(before.*value.field),
                    std::to_string(after.*value.field));
    }
    return changes;
};

}  // namespace

Reread shutdown_resource() {
    return rereading(settings::read_shutdown, changes_of<settings::kShutdownValues>);
}

Reread watchdog_resource() {
    return rereading(settings::read_watchdog, changes_of<settings::kWatchdogValues>);
}

}  // namespace zel::service
