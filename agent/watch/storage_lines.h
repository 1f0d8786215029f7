// SPDX-License-Identifier: GPL-3.0-or-later
// What the kernel's lines say about disks.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "system/disks.h"

namespace zel::watch {

/// In the order of settings::kStorageKinds.
enum class StorageKind { recoverable, nonrecoverable, media, hardware };

/// How the kernel says that something is wrong with a disk.
struct StorageLine {
    StorageKind kind;
    /// What the line calls it by: the disk or a part of it, the controller of an NVMe disk, the port of an ATA disk.
    enum class Name { disk, nvme_controller, ata_port } name;
    const char* pattern;  ///< Of the whole line, as regcomp(3) takes it; the first group is the name.
    const char* example;
};
/// The first row that fits counts. What the kernel says beside one of these lines about the same error has no row.
std::span<const StorageLine> storage_lines();

struct StorageError {
    StorageKind kind;
    const system::Disk* disk;
};
/// Nothing for a line that is about no error, or about none of these disks.
std::optional<StorageError> storage_error(std::string_view line, std::span<const system::Disk> disks);

/// The disk that a name of the kernel stands for: its own, or that of a part ("sda1", "nvme0n1p2"); null for others.
const system::Disk* disk_of(std::string_view name, std::span<const system::Disk> disks);

}  // namespace zel::watch
