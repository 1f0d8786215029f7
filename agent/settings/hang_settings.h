// SPDX-License-Identifier: GPL-3.0-or-later
// What happens when the operating system, or a shutdown of it, hangs: for the library that reads and writes
// it and the service that takes it up.
//
//   SOFTWARE/QUD/ZELAgent/Shutdown   HangEnable (0 or 1), Timeout (seconds), TimeoutAct (an action code)
//   SOFTWARE/QUD/ZELAgent/Watchdog   HangEnable, Interval, Timeout, TimeoutAct; Generation, which counts the
//                                    times that they were written
//
// An action code is the timer-actions byte of an IPMI watchdog timer.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "registry_values.h"
#include "zel/access_control.h"

namespace zel::settings {

inline constexpr std::uint32_t kInterruptBefore = 0x20;  ///< The time-out begins with a diagnostic interrupt.
inline constexpr std::uint32_t kAfterMask = 0x03;  ///< Then: 0 nothing, 1 reset, 2 power off, 3 power cycle.
inline constexpr std::uint32_t kResetAfter = 1;

constexpr bool is_action_code(std::uint64_t code) {
    return (code & ~std::uint64_t{kInterruptBefore | kAfterMask}) == 0;
}

/// One value: its name, its field, what makes sense, and what a missing or insane one reads as.
template <class Record, class Word>
struct HangValue {
    const char* name;
    Word Record::*field;
    Allowed allowed;
    std::uint32_t fallback;
};

using ShutdownValue = HangValue<ShutdownRecord, std::uint32_t>;
inline constexpr const char* kShutdownKey = "SOFTWARE/QUD/ZELAgent/Shutdown";
inline constexpr std::array kShutdownValues{
    ShutdownValue{"HangEnable", &ShutdownRecord::dwHangEnable, within<0, 1>, 0},
    ShutdownValue{"Timeout", &ShutdownRecord::dwTimeout, within<300, 6000>, 600},
    ShutdownValue{"TimeoutAct", &ShutdownRecord::dwTimeoutAct, is_action_code, kResetAfter},
};

using WatchdogValue = HangValue<WdtRecord, std::uint64_t>;
inline constexpr const char* kWatchdogKey = "SOFTWARE/QUD/ZELAgent/Watchdog";
inline constexpr const char* kGeneration = "Generation";
inline constexpr std::array kWatchdogValues{
    WatchdogValue{"HangEnable", &WdtRecord::qwHangEnable, within<0, 1>, 0},
    WatchdogValue{"Interval", &WdtRecord::qwInterval, within<30, 60>, 30},
    WatchdogValue{"Timeout", &WdtRecord::qwTimeout, within<90, 600>, 120},
    WatchdogValue{"TimeoutAct", &WdtRecord::qwTimeoutAct, is_action_code, kResetAfter},
};

/// The settings, each value that makes no sense (told in the trace log) or is missing as by default. Nothing,
/// also told, when the registry cannot be read.
std::optional<ShutdownRecord> read_shutdown();
std::optional<WdtRecord> read_watchdog();  ///< With the generation in `library`.

/// Writes the settings. Refused when HangEnable is neither 0 nor 1, or is 1 and another value makes no sense.
/// While it is 0, a value that makes none stays as it is in the registry.
/// @return False, with the reason traced, when nothing was written.
bool write_shutdown(const ShutdownRecord& record);
bool write_watchdog(const WdtRecord& record);  ///< Counts the generation up; the record's is not looked at.

}  // namespace zel::settings
