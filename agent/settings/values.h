// SPDX-License-Identifier: GPL-3.0-or-later
// Every setting that is kept as a number of its own: where it is kept, its range, its default. Whoever reads,
// writes, compares or describes settings goes by these tables.
#pragma once

#include <string>

#include "system/communities.h"
#include "value.h"
#include "zel/access_control.h"
#include "zel/access_monitor.h"

namespace zel::settings {

inline constexpr const char* kBetweenLooks = "from one look to the next";

/// In the file of each resource that has one: seconds between two samples.
inline constexpr Value kInterval = number("interval", "interval", MONITOR_INTERVAL_MIN, MONITOR_INTERVAL_MAX,
                                          60, Unit::seconds, kBetweenLooks);
inline constexpr Value kRaidInterval =
    number("interval", "interval", MYLEX_INTERVAL_MIN, MYLEX_INTERVAL_MAX, 60, Unit::seconds, kBetweenLooks);

// Wider than any choice a program offers: an administrator may set what the programs do not.
inline constexpr Table kCpuCycle{
    "SOFTWARE/QUD/ZELAgent/CPU", "cpu",
    std::array{
        Field{number("SamplingInterval", "interval", 1, 3600, 10, Unit::seconds, kBetweenLooks),
              &CpuCycleRecord::samplingInterval},
        Field{number("Cycle", "cycle", 1, 365 * 24 * 3600, 60, Unit::seconds,
                     "the span over which load is taken"),
              &CpuCycleRecord::cycleSeconds},
    }};

/// One CPU; its key is `cpu_row_key`.
inline constexpr Table kCpuRow{
    "", "",
    std::array{
        Field{flag("Enable", "enable", false, "whether load is watched"), &CpuThresholdRow::enable},
        Field{number("FatalReport", "fatal.report", 0, 100, 95, Unit::percent,
                     "load at which the fatal alert is raised"),
              &CpuThresholdRow::fatalReport},
        Field{number("FatalReset", "fatal.reset", 0, 100, 90, Unit::percent,
                     "load at which it falls to a warning"),
              &CpuThresholdRow::fatalReset},
        Field{number("WarningReport", "warning.report", 0, 100, 85, Unit::percent,
                     "load at which the warning is raised"),
              &CpuThresholdRow::warningReport},
        Field{number("WarningReset", "warning.reset", 0, 100, 80, Unit::percent, "load at which it ends"),
              &CpuThresholdRow::warningReset},
    }};

/// The whole machine, which is watched until somebody says otherwise.
inline constexpr auto kCpuTotal = [] {
    auto table = kCpuRow;
    table.fields[0].value.fallback = 1;
    return table;
}();

/// "TOTAL" for row 0, "CPU<n>" for row n.
inline std::string cpu_row_name(int row) {
    return row == 0 ? "TOTAL" : "CPU" + std::to_string(row);
}

inline std::string cpu_row_key(int row) {
    return kCpuCycle.key + ('/' + cpu_row_name(row));
}

inline constexpr Table kLan{
    "SOFTWARE/QUD/ZELAgent/LAN", "lan",
    std::array{
        Field{number("Interval", "interval", LAN_INTERVAL_MIN, LAN_INTERVAL_MAX, 60, Unit::seconds,
                     kBetweenLooks),
              &LanSettingsRecord::interval},
        Field{number("Hardware", "hardware", LAN_HARDWARE_MIN, LAN_HARDWARE_MAX, 10, Unit::percent,
                     "hardware errors among the packets, above which is a warning"),
              &LanSettingsRecord::hardware},
        Field{number("Retry", "retry", LAN_RETRY_MIN, LAN_RETRY_MAX, 20, Unit::percent,
                     "collisions among the packets, above which is a warning"),
              &LanSettingsRecord::retry},
        Field{number("Abort", "abort", LAN_ABORT_MIN, LAN_ABORT_MAX, 20, Unit::percent,
                     "aborted among the packets, above which is a warning"),
              &LanSettingsRecord::abort_},
    }};

struct EventlogRecord {
    std::uint32_t cycle;  ///< Seconds between two looks at the system's event log.
};
inline constexpr Table kEventlog{
    EVENTLOG_KEY, "eventlog",
    std::array{Field{number(EVENTLOG_CYCLE, "interval", EVENTLOG_CYCLE_MIN, EVENTLOG_CYCLE_MAX,
                            EVENTLOG_CYCLE_DEFAULT, Unit::seconds, kBetweenLooks),
                     &EventlogRecord::cycle}}};

inline constexpr Table kShutdown{
    "SOFTWARE/QUD/ZELAgent/Shutdown", "shutdown",
    std::array{
        Field{flag("HangEnable", "enable", false, "whether a shutdown that hangs is ended"),
              &ShutdownRecord::dwHangEnable},
        Field{number("Timeout", "timeout", SHUTDOWN_TIMEOUT_MIN, SHUTDOWN_TIMEOUT_MAX, 600, Unit::seconds,
                     "how long a shutdown may take"),
              &ShutdownRecord::dwTimeout},
        Field{actions("TimeoutAct", kResetAfter), &ShutdownRecord::dwTimeoutAct},
    }};

inline constexpr Table kWatchdog{
    "SOFTWARE/QUD/ZELAgent/Watchdog", "watchdog",
    std::array{
        Field{flag("HangEnable", "enable", false, "whether a system that hangs is ended"),
              &WdtRecord::qwHangEnable},
        Field{number("Interval", "interval", WDT_INTERVAL_MIN, WDT_INTERVAL_MAX, 30, Unit::seconds,
                     "from one sign of life to the next"),
              &WdtRecord::qwInterval},
        Field{number("Timeout", "timeout", WDT_TIMEOUT_MIN, WDT_TIMEOUT_MAX, 120, Unit::seconds,
                     "how long there may be none"),
              &WdtRecord::qwTimeout},
        Field{actions("TimeoutAct", kResetAfter), &WdtRecord::qwTimeoutAct},
    }};
/// Beside the settings of each of the two timers: how often they were saved, and how often that was by the versions
/// before this one, which armed no timer. What they saved does not arm one by itself.
inline constexpr Value kGeneration = any_number("Generation");
inline constexpr Value kNotedGeneration = any_number("NotedGeneration");

inline constexpr Table kSnmp{
    "SOFTWARE/QUD/ZELAgent/SNMP", "snmp",
    std::array{
        Field{flag("Enable", "enable", false, "whether the agent is managed through SNMP"),
              &SnmpFlags::enable},
        Field{flag("Permit", "permit", false, "whether SNMP may change settings; only with snmp.enable"),
              &SnmpFlags::permit},
    }};

/// Permit counts only with Enable.
inline void mask(SnmpFlags& flags) {
    if (flags.enable == 0) flags.permit = 0;
}

/// A setting that is a text: its key, its name, and what it is while nobody has set it.
struct Text {
    const char* key;
    const char* name;
    const char* words;
    const char* fallback;
    std::size_t longest = 0;  ///< Bytes.
    const char* meaning = "";
};
inline constexpr Text kCommunity{kSnmp.key,
                                 "Community",
                                 "snmp.community",
                                 "plinth",
                                 system::kLongestCommunity,
                                 "the community name that the agent uses"};
inline constexpr Text kVersion{"SOFTWARE/QUD/ZELAgent",      "CurrentVersion", "agent.version", "4.1", 3,
                               "which panels the tool shows"};
inline constexpr std::array kVersions{"3.8", "3.9", "4.0", "4.1"};
inline constexpr Text kRackName{
    "SOFTWARE/QUD/ZELAgent/Rack",        "Name", "rack.name", "", RACK_NAME_SIZE - 1,
    "the rack mount name of this server"};

}  // namespace zel::settings
