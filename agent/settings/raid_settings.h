// SPDX-License-Identifier: GPL-3.0-or-later
// The threshold file of the RAID controllers, for the library that reads and writes it and the service that
// takes it up.
//
//   [general]
//   interval=60
#pragma once

#include <optional>

#include "store/key_file.h"
#include "threshold_file.h"

namespace zel::settings {

// No group of it is about one thing.
inline constexpr ThresholdFile kRaidFile{
    .name = "zelmlx.inf", .resource = "raid", .naming = {.prefix = "", .name_start = "", .longest = 0}};

/// Reads the interval; it is the default when there is no file (`not_found`).
/// @return `failed` when the file cannot be opened, `corrupt` when it does not hold a sane interval; both are
///         told in the trace log.
store::Status read_raid(int& interval);

/// Writes the interval; false, told in the trace log, when that failed.
/// @param before  What the caller was handed out: what it left so stays as somebody else has changed it since.
bool save_raid(int interval, std::optional<int> before = {});

}  // namespace zel::settings
