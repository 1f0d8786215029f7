// SPDX-License-Identifier: GPL-3.0-or-later
// The tables of the kernel's lines, by the examples that stand in them.
#include <gtest/gtest.h>

#include <array>

#include "watch/eventlog_lines.h"
#include "watch/storage_lines.h"

namespace zel::watch {
namespace {

const std::array kDisks{
    system::Disk{"sda", "sda", "../devices/pci0000:00/0000:00:17.0/ata1/host0/target0:0:0/0:0:0:0/block/sda"},
    system::Disk{"vda", "vda", ""}, system::Disk{"nvme0n1", "nvme0n1", ""},
    system::Disk{"mmcblk0", "mmcblk0", ""}};

/// What a table makes of a line in which a process may have had its hand.
template <class Takes>
void expect_whole_lines_only(const std::string& line, Takes takes) {
    EXPECT_TRUE(takes(line)) << line;
    EXPECT_FALSE(takes(": " + line));
    EXPECT_FALSE(takes("audit: comm=\"" + line + "\""));
    EXPECT_FALSE(takes(line + '\0'));
}

TEST(KernelLines, AreKnownWholeAndByNoRowBeforeTheirOwn) {
    for (const StorageLine& line : storage_lines()) {
        expect_whole_lines_only(
            line.example, [](const std::string& text) { return storage_error(text, kDisks).has_value(); });
        const auto error = storage_error(line.example, kDisks);
        ASSERT_TRUE(error);
        EXPECT_EQ(error->kind, line.kind) << line.example;
        const system::Disk other{"sdb", "sdb", "../devices/pci0000:00/0000:00:17.0/ata11/host0/block/sdb"};
        EXPECT_FALSE(storage_error(line.example, {&other, 1})) << line.example;
    }
    for (const EventlogLine& line : eventlog_lines())
        expect_whole_lines_only(line.example, is_worth_telling);
}

TEST(KernelLines, NameADiskByItsParts) {
    const auto name_of = [](const char* part) {
        const auto* disk = disk_of(part, kDisks);
        return disk != nullptr ? disk->name : "";
    };
    for (const auto& [part, disk] :
         {std::pair{"sda", "sda"}, {"sda15", "sda"}, {"nvme0n1p2", "nvme0n1"}, {"mmcblk0p1", "mmcblk0"}})
        EXPECT_EQ(name_of(part), disk) << part;
    for (const char* other : {"sdaa", "sda1x", "nvme0n12", "nvme0n1p", "mmcblk0boot0", "sd", ""})
        EXPECT_EQ(name_of(other), "") << other;
}

}  // namespace
}  // namespace zel::watch
