// SPDX-License-Identifier: GPL-3.0-or-later
#include "resources.h"
#include "store/registry.h"

namespace zel::service {
namespace {

constexpr const char* kCycle = settings::kEventlog.fields[0].value.name;

/// The cycle as the log tells it.
std::optional<std::string> read_cycle() {
    if (store::registry::check() != store::Status::ok) return std::nullopt;
    const auto cycle = store::registry::get_dword(EVENTLOG_KEY, kCycle);
    return cycle ? std::to_string(*cycle) : "(not set)";
}

Changes cycle_changes(const std::string& before, const std::string& after) {
    Changes changes;
    note_change(changes, kCycle, before, after);
    return changes;
}

}  // namespace

Reload eventlog_resource() {
    return reloading(read_cycle, cycle_changes);
}

}  // namespace zel::service
