// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage_lines.h"

#include <algorithm>
#include <array>

#include "line_pattern.h"

namespace zel::watch {
namespace {

using Kind = StorageKind;
using Name = StorageLine::Name;

constexpr std::array kLines{
    // What the block layer says of a request that failed for good, of SCSI, virtio, NVMe and MMC disks alike.
    StorageLine{
        Kind::media, Name::disk, "^critical medium error, dev ([a-z0-9]+), sector [0-9]+( .*)?$",
        "critical medium error, dev sda, sector 123456 op 0x0:(READ) flags 0x80700 phys_seg 1 prio class 2"},
    StorageLine{Kind::hardware, Name::disk, "^critical target error, dev ([a-z0-9]+), sector [0-9]+( .*)?$",
                "blk_update_request: critical target error, dev nvme0n1, sector 976773167 op 0x0:(READ) "
                "flags 0x0 phys_seg "
                "1 prio class 0"},
    StorageLine{Kind::hardware, Name::disk, "^timeout error, dev ([a-z0-9]+), sector [0-9]+( .*)?$",
                "timeout error, dev sda, sector 2048 op 0x1:(WRITE) flags 0x800 phys_seg 4 prio class 2"},
    StorageLine{
        Kind::hardware, Name::disk, "^device offline error, dev ([a-z0-9]+), sector [0-9]+( .*)?$",
        "device offline error, dev sda, sector 2048 op 0x1:(WRITE) flags 0x800 phys_seg 4 prio class 2"},
    StorageLine{
        Kind::recoverable, Name::disk, "^recoverable transport error, dev ([a-z0-9]+), sector [0-9]+( .*)?$",
        "recoverable transport error, dev sda, sector 40 op 0x0:(READ) flags 0x4200 phys_seg 1 prio class 2"},
    StorageLine{Kind::nonrecoverable, Name::disk, "^protection error, dev ([a-z0-9]+), sector [0-9]+( .*)?$",
                "protection error, dev nvme0n1, sector 2048 op 0x0:(READ) flags 0x0 phys_seg 1 prio class 2"},
    StorageLine{Kind::nonrecoverable, Name::disk, "^I/O error, dev ([a-z0-9]+), sector [0-9]+( .*)?$",
                "I/O error, dev vda, sector 4194304 op 0x0:(READ) flags 0x80700 phys_seg 1 prio class 2"},
    // SCSI disks: what a disk mended by itself reaches the block layer as a success.
    StorageLine{
        Kind::recoverable, Name::disk,
        "^sd [0-9:]+: \\[([a-z]+)\\] (tag#[0-9]+ )?Sense Key : Recovered Error \\[(current|deferred)\\].*$",
        "sd 2:0:0:0: [sda] tag#17 Sense Key : Recovered Error [current] "},
    StorageLine{Kind::hardware, Name::disk,
                "^sd [0-9:]+: \\[([a-z]+)\\] (tag#[0-9]+ )?timing out command, waited [0-9]+s$",
                "sd 0:0:0:0: [sda] tag#5 timing out command, waited 180s"},
    // NVMe: time-outs are the controller's.
    StorageLine{Kind::hardware, Name::nvme_controller,
                "^nvme (nvme[0-9]+): I/O [0-9]+ QID [0-9]+ timeout, .*$",
                "nvme nvme0: I/O 123 QID 4 timeout, aborting"},
    StorageLine{Kind::hardware, Name::nvme_controller, "^nvme (nvme[0-9]+): I/O tag [0-9]+ .* timeout, .*$",
                "nvme nvme0: I/O tag 12 (300c) opcode 0x2 (I/O Cmd) QID 4 timeout, aborting req_op:READ(0) "
                "size:4096"},
    StorageLine{Kind::hardware, Name::nvme_controller,
                "^nvme (nvme[0-9]+): controller is down; will reset: .*$",
                "nvme nvme0: controller is down; will reset: CSTS=0xffffffff, PCI_STATUS=0x10"},
    // MMC.
    StorageLine{Kind::hardware, Name::disk,
                "^(mmcblk[0-9]+): timed out sending [A-Za-z_/ ]+ command, card status 0x[0-9a-f]+$",
                "mmcblk0: timed out sending SET_BLOCK_COUNT command, card status 0x400900"},
    StorageLine{Kind::hardware, Name::disk, "^(mmcblk[0-9]+): recovery failed!$",
                "mmcblk0: recovery failed!"},
    // ATA: a command that hangs; one that was damaged on its way, and is sent again.
    StorageLine{
        Kind::hardware, Name::ata_port,
        "^(ata[0-9]+)(\\.[0-9]+)?: exception Emask 0x[0-9a-f]+ SAct 0x[0-9a-f]+ SErr 0x[0-9a-f]+ action "
        "0x[0-9a-f]+ frozen$",
        "ata1.00: exception Emask 0x0 SAct 0x7fffffff SErr 0x0 action 0x6 frozen"},
    StorageLine{Kind::hardware, Name::ata_port,
                "^(ata[0-9]+)(\\.[0-9]+)?: qc timeout (after [0-9]+ msecs )?\\(cmd 0x[0-9a-f]+\\)$",
                "ata1.00: qc timeout after 5000 msecs (cmd 0xec)"},
    StorageLine{Kind::recoverable, Name::ata_port,
                "^(ata[0-9]+)(\\.[0-9]+)?: error: \\{ ([A-Z]+ )*ICRC ([A-Z]+ )*\\}$",
                "ata1.00: error: { ICRC ABRT }"},
};

/// Kernels before 5.16 and before 4 begin the block layer's lines so.
std::string_view without_prefix(std::string_view line) {
    for (const std::string_view prefix : {"blk_update_request: ", "end_request: "})
        if (line.starts_with(prefix)) return line.substr(prefix.size());
    return line;
}

bool is_number(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

/// Whether what follows a disk's name makes it that of a part.
bool names_part(std::string_view disk, std::string_view rest) {
    const bool ends_with_digit = is_number(disk.substr(disk.size() - 1));
    return ends_with_digit ? rest.starts_with('p') && is_number(rest.substr(1)) : is_number(rest);
}

bool stands_for(const StorageLine& line, const std::string& name, const system::Disk& disk) {
    switch (line.name) {
        case Name::disk:
            return disk_of(name, {&disk, 1}) != nullptr;
        case Name::nvme_controller:
            return disk.name.starts_with(name + 'n');
        case Name::ata_port:
            return disk.place.find('/' + name + '/') != std::string::npos;
    }
    return false;
}

}  // namespace

std::span<const StorageLine> storage_lines() {
    return kLines;
}

const system::Disk* disk_of(std::string_view name, std::span<const system::Disk> disks) {
    const auto found = std::ranges::find_if(disks, [&](const system::Disk& disk) {
        if (disk.name.empty() || !name.starts_with(disk.name)) return false;
        const std::string_view rest = name.substr(disk.name.size());
        return rest.empty() || names_part(disk.name, rest);
    });
    return found != disks.end() ? &*found : nullptr;
}

std::optional<StorageError> storage_error(std::string_view line, std::span<const system::Disk> disks) {
    static const auto& patterns = made_of(kLines);
    const std::string whole(without_prefix(line));
    for (std::size_t row = 0; row < kLines.size(); ++row) {
        const auto name = patterns[row].match(whole);
        if (!name) continue;
        const auto disk = std::ranges::find_if(
            disks, [&](const system::Disk& one) { return stands_for(kLines.at(row), *name, one); });
        return disk != disks.end() ? std::optional<StorageError>({kLines.at(row).kind, &*disk})
                                   : std::nullopt;
    }
    return std::nullopt;
}

}  // namespace zel::watch
