// SPDX-License-Identifier: GPL-3.0-or-later
// How the network interfaces are watched, for the library that reads and writes it and the service that takes
// it up.
//
//   SOFTWARE/QUD/ZELAgent/LAN    Interval (seconds), Hardware, Retry, Abort (thresholds)
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "registry_values.h"
#include "zel/access_monitor.h"

namespace zel::settings {

inline constexpr const char* kLanKey = "SOFTWARE/QUD/ZELAgent/LAN";

/// One value: its name, its field, its range, what a missing or insane one reads as, its LAN_TEST_ bit.
struct LanValue {
    const char* name;
    std::int32_t LanSettingsRecord::*field;
    Allowed allowed;
    std::uint32_t fallback;
    int bit;
};

inline constexpr std::array kLanValues{
    LanValue{"Interval", &LanSettingsRecord::interval, within<1, 3600>, 60, LAN_TEST_INTERVAL},
    LanValue{"Hardware", &LanSettingsRecord::hardware, within<0, 100>, 10, LAN_TEST_HARDWARE},
    LanValue{"Retry", &LanSettingsRecord::retry, within<10, 50>, 20, LAN_TEST_RETRY},
    LanValue{"Abort", &LanSettingsRecord::abort_, within<10, 50>, 20, LAN_TEST_ABORT},
};

/// The settings, values that make no sense (told in the trace log) and missing ones as by default. Nothing,
/// also told, when the registry cannot be read.
std::optional<LanSettingsRecord> read_lan();

}  // namespace zel::settings
