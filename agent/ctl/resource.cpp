// SPDX-License-Identifier: GPL-3.0-or-later
#include "resource.h"

#include <unistd.h>

#include <algorithm>
#include <array>

#include "base/paths.h"

namespace zel::ctl {
namespace {

constexpr bool kBracketed = true;
constexpr bool kReloaded = true;
constexpr bool kController = true;
constexpr std::array kResources{
    Resource{"agent", "the agent", !kBracketed, !kReloaded, !kController, read_registry, list_agent, nullptr,
             write_registry},
    Resource{"cpu", "CPU load", !kBracketed, kReloaded, !kController, read_cpu, list_cpu, judge_cpu,
             write_registry},
    Resource{"eventlog", "event log", !kBracketed, kReloaded, !kController, read_registry, list_eventlog,
             nullptr, write_registry},
    Resource{"filesystem", "file systems", kBracketed, kReloaded, !kController, read_filesystems,
             list_filesystem, judge_filesystem, write_filesystems},
    Resource{"lan", "network interfaces", !kBracketed, kReloaded, !kController, read_registry, list_lan,
             nullptr, write_registry},
    Resource{"rack", "rack mount", !kBracketed, !kReloaded, !kController, read_registry, list_rack, nullptr,
             write_registry},
    Resource{"raid", "RAID controllers", !kBracketed, kReloaded, !kController, read_raid, list_raid, nullptr,
             write_raid},
    Resource{"shutdown", "a shutdown that hangs", !kBracketed, kReloaded, !kController, read_registry,
             list_shutdown, nullptr, write_registry},
    Resource{"snmp", "SNMP", !kBracketed, !kReloaded, !kController, read_registry, list_snmp, judge_snmp,
             write_registry},
    Resource{"storage", "storage devices", kBracketed, kReloaded, !kController, read_storage, list_storage,
             judge_storage, write_storage},
    Resource{"temperature", "temperature sensors", kBracketed, kReloaded, kController, read_temperatures,
             list_temperature, judge_sensors, write_sensors},
    Resource{"voltage", "voltage sensors", kBracketed, kReloaded, kController, read_voltages, list_voltage,
             judge_sensors, write_sensors},
    Resource{"watchdog", "a system that hangs", !kBracketed, kReloaded, !kController, read_registry,
             list_watchdog, nullptr, write_registry},
};

}  // namespace

std::span<const Resource> resources() {
    return kResources;
}

const Resource* resource_of(const std::string& name) {
    const auto* row =
        std::ranges::find(kResources, name, [](const Resource& one) { return std::string_view(one.name); });
    return row != kResources.end() ? row : nullptr;
}

bool may_change() {
    return ::geteuid() == 0 ||
           (base::is_private_agent() && ::access(base::settings_folder().c_str(), W_OK) == 0);
}

}  // namespace zel::ctl
