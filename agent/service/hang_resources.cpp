// SPDX-License-Identifier: GPL-3.0-or-later
#include "access/hang_settings.h"
#include "resources.h"

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
    return rereading(access::read_shutdown, changes_of<access::kShutdownValues>);
}

Reread watchdog_resource() {
    return rereading(access::read_watchdog, changes_of<access::kWatchdogValues>);
}

}  // namespace zel::service
