// SPDX-License-Identifier: GPL-3.0-or-later
// The management controller's say in what the server boots from next.
#pragma once

#include <cstdint>
#include <optional>

namespace zel::bmc {

/// A boot device, as it stands in IPMI's boot flags.
enum class BootDevice : std::uint8_t {
    safe = 0x0c,        ///< The default disk, in safe mode.
    diagnostic = 0x10,  ///< The diagnostic partition.
};

/// Whether the server boots from `device` next. Nothing, with the reason traced, when the controller
/// cannot say.
std::optional<bool> boots_from(BootDevice device);

/// Has the server boot from `device`, for its next boot only and whenever that is; or takes that back. Flags
/// that name another device are somebody else's and are never taken back.
/// @return False, with the reason traced, when the controller does not have it so afterwards.
bool set_boot_device(BootDevice device, bool on);

}  // namespace zel::bmc
