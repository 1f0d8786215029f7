// SPDX-License-Identifier: GPL-3.0-or-later
// The probes that the tool runs before it opens the screen.
#pragma once

#include <cstdint>

namespace zel {

/// Reads the agent's version from the registry. 1 and `*version` set to 1..4, or 0 and it is unchanged.
int GetCurrentVersion(std::int32_t* version);

/// 1 when the registry's tab-visibility value has one of the bits of `checkFlag`, else 0, also when it
/// cannot be read. The registry is read again on every call.
int GetRegValue(std::uint32_t checkFlag);

/// 1 when an SMBIOS chassis structure says blade, else 0, also on any failure.
int ZEL_IS_BLADE();

/// The hardware model's class: 1 (model 590), 2 (562 or 606), 0 (any other), -1 when it cannot be read.
int CheckHwIdInfo(int version);

}  // namespace zel
