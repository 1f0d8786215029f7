// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace zel::system {

/// Names of the machine's disks (agent.conf, [monitor] sys_block: where else the kernel lists them) in
/// version order (nvme2n1 before nvme10n1), STORAGE_DEVICES_MAX at most. A disk with several paths stands
/// under the first of its names. Not among them: virtual and hidden devices, optical drives, floppies, the
/// boot partitions of an eMMC, drives without a medium, and (logged) names longer than the
/// contract's tables hold. Nothing, and logged, when the system's list cannot be read.
std::optional<std::vector<std::string>> list_disks();

/// What is known of a disk besides its name.
struct Disk {
    std::string name;
    std::string identity;  ///< World-wide, the same under another name; the name where a disk has none.
    std::string place;     ///< Among the buses: "../devices/pci0000:00/0000:00:17.0/ata1/host0/...".
};
/// The same disks.
std::optional<std::vector<Disk>> find_disks();

}  // namespace zel::system
