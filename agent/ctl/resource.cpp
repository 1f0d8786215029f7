// SPDX-License-Identifier: GPL-3.0-or-later
#include "resource.h"

#include <unistd.h>

#include <algorithm>
#include <array>

#include "base/paths.h"
#include "bmc/settings.h"

namespace zel::ctl {
namespace {

constexpr std::array kResources{
    Resource{"agent", "the agent", false, false, read_registry, list_agent, nullptr},
    Resource{"cpu", "CPU load", false, true, read_cpu, list_cpu, judge_cpu},
    Resource{"eventlog", "event log", false, true, read_registry, list_eventlog, nullptr},
    Resource{"filesystem", "file systems", true, true, read_filesystems, list_filesystem, judge_filesystem},
    Resource{"lan", "network interfaces", false, true, read_registry, list_lan, nullptr},
    Resource{"rack", "rack mount", false, false, read_registry, list_rack, nullptr},
    Resource{"raid", "RAID controllers", false, true, read_raid, list_raid, nullptr},
    Resource{"shutdown", "a shutdown that hangs", false, true, read_registry, list_shutdown, nullptr},
    Resource{"snmp", "SNMP", false, false, read_registry, list_snmp, judge_snmp},
    Resource{"storage", "storage devices", true, true, read_storage, list_storage, judge_storage},
    Resource{"temperature", "temperature sensors", true, true, read_temperatures, list_temperature,
             judge_sensors},
    Resource{"voltage", "voltage sensors", true, true, read_voltages, list_voltage, judge_sensors},
    Resource{"watchdog", "a system that hangs", false, true, read_registry, list_watchdog, nullptr},
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

bool has_controller() {
    const auto settings = bmc::read_settings();
    return settings && bmc::is_present(*settings);
}

bool may_change() {
    return ::geteuid() == 0 ||
           (base::is_private_agent() && ::access(base::settings_folder().c_str(), W_OK) == 0);
}

}  // namespace zel::ctl
