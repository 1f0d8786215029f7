// SPDX-License-Identifier: GPL-3.0-or-later
// Every setting that is kept as a number of its own: where it is kept, its range, its default. Whoever reads,
// writes, compares or describes settings goes by these tables.
#pragma once

#include <string>

#include "value.h"
#include "zel/access_control.h"
#include "zel/access_monitor.h"

namespace zel::settings {

/// In the file of each resource that has one: seconds between two samples.
inline constexpr Value kInterval =
    number("interval", MONITOR_INTERVAL_MIN, MONITOR_INTERVAL_MAX, 60, Unit::seconds);
inline constexpr Value kRaidInterval =
    number("interval", MYLEX_INTERVAL_MIN, MYLEX_INTERVAL_MAX, 60, Unit::seconds);

// Wider than any choice a program offers: an administrator may set what the programs do not.
inline constexpr Table kCpuCycle{
    "SOFTWARE/QUD/ZELAgent/CPU",
    std::array{
        Field{number("SamplingInterval", 1, 3600, 10, Unit::seconds), &CpuCycleRecord::samplingInterval},
        Field{number("Cycle", 1, 365 * 24 * 3600, 60, Unit::seconds), &CpuCycleRecord::cycleSeconds},
    }};

/// One CPU; its key is `cpu_row_key`.
inline constexpr Table kCpuRow{
    "", std::array{
            Field{flag("Enable", false), &CpuThresholdRow::enable},
            Field{number("FatalReport", 0, 100, 95, Unit::percent), &CpuThresholdRow::fatalReport},
            Field{number("FatalReset", 0, 100, 90, Unit::percent), &CpuThresholdRow::fatalReset},
            Field{number("WarningReport", 0, 100, 85, Unit::percent), &CpuThresholdRow::warningReport},
            Field{number("WarningReset", 0, 100, 80, Unit::percent), &CpuThresholdRow::warningReset},
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
    "SOFTWARE/QUD/ZELAgent/LAN",
    std::array{
        Field{number("Interval", LAN_INTERVAL_MIN, LAN_INTERVAL_MAX, 60, Unit::seconds),
              &LanSettingsRecord::interval},
        Field{number("Hardware", LAN_HARDWARE_MIN, LAN_HARDWARE_MAX, 10, Unit::percent),
              &LanSettingsRecord::hardware},
        Field{number("Retry", LAN_RETRY_MIN, LAN_RETRY_MAX, 20, Unit::percent), &LanSettingsRecord::retry},
        Field{number("Abort", LAN_ABORT_MIN, LAN_ABORT_MAX, 20, Unit::percent), &LanSettingsRecord::abort_},
    }};

inline constexpr Value kEventlogCycle =
    number(EVENTLOG_CYCLE, EVENTLOG_CYCLE_MIN, EVENTLOG_CYCLE_MAX, EVENTLOG_CYCLE_DEFAULT, Unit::seconds);

inline constexpr Table kShutdown{
    "SOFTWARE/QUD/ZELAgent/Shutdown",
    std::array{
        Field{flag("HangEnable", false), &ShutdownRecord::dwHangEnable},
        Field{number("Timeout", SHUTDOWN_TIMEOUT_MIN, SHUTDOWN_TIMEOUT_MAX, 600, Unit::seconds),
              &ShutdownRecord::dwTimeout},
        Field{actions("TimeoutAct", kResetAfter), &ShutdownRecord::dwTimeoutAct},
    }};

inline constexpr Table kWatchdog{
    "SOFTWARE/QUD/ZELAgent/Watchdog",
    std::array{
        Field{flag("HangEnable", false), &WdtRecord::qwHangEnable},
        Field{number("Interval", WDT_INTERVAL_MIN, WDT_INTERVAL_MAX, 30, Unit::seconds),
              &WdtRecord::qwInterval},
        Field{number("Timeout", WDT_TIMEOUT_MIN, WDT_TIMEOUT_MAX, 120, Unit::seconds), &WdtRecord::qwTimeout},
        Field{actions("TimeoutAct", kResetAfter), &WdtRecord::qwTimeoutAct},
    }};
/// Beside them: how often they were written.
inline constexpr Value kWatchdogGeneration = any_number("Generation");

/// Permit counts only with Enable.
inline constexpr Table kSnmp{"SOFTWARE/QUD/ZELAgent/SNMP",
                             std::array{
                                 Field{flag("Enable", false), &SnmpFlags::enable},
                                 Field{flag("Permit", false), &SnmpFlags::permit},
                             }};

/// A setting that is a text: its key, its name, and what it is while nobody has set it.
struct Text {
    const char* key;
    const char* name;
    const char* fallback;
};
inline constexpr Text kCommunity{kSnmp.key, "Community", "plinth"};
inline constexpr Text kRackName{"SOFTWARE/QUD/ZELAgent/Rack", "Name", ""};

}  // namespace zel::settings
