// SPDX-License-Identifier: GPL-3.0-or-later
// CPUs and storage devices; what the calls that save refuse.
#include <cstring>
#include <memory>

#include "made_up_machine.h"
#include "system/disks.h"

namespace {

using namespace zel::test;

/// A caller's tables of storage devices.
struct Tables {
    std::unique_ptr<char[][30]> names{new char[STORAGE_DEVICES_MAX][30]{}};
    std::unique_ptr<StorageThresholdItem[][4]> values{new StorageThresholdItem[STORAGE_DEVICES_MAX][4]{}};
    int interval = -1;
    int count = -1;

    Tables() { EXPECT_EQ(ReadThresholdFromFile(&interval, &count, names.get(), values.get()), count); }
    [[nodiscard]] int write() const { return WriteThreshold(interval, count, names.get(), values.get()); }
    [[nodiscard]] std::string text() const {
        std::ostringstream text;
        text << interval << " s\n";
        for (std::size_t row = 0; row < static_cast<std::size_t>(count); ++row) {
            text << names[row];
            for (const auto& item : values[row])
                text << ' ' << item.fatal << '/' << item.warning << "?+-"[item.state];
            text << '\n';
        }
        return text.str();
    }
};

TEST_F(Monitor, CpusAreThoseThatArePluggedIn) {
    const int running = static_cast<int>(sysconf(_SC_NPROCESSORS_ONLN));
    for (const auto& [list, count] : {std::pair("0\n", 1),
                                      {"0-3,8-11\n", 8},
                                      {"2,5-5,7", 3},
                                      {"0-8191", 8192},
                                      {"", running},
                                      {"0-8192", running},
                                      {"0-3,2", running},
                                      {"3-1", running},
                                      {"0-", running},
                                      {"-1", running},
                                      {"0,\n", running},
                                      {"0 1", running},
                                      {"99999999999999999999", running}}) {
        write_text(home("present"), list);
        CpuSettingsRecord settings{};
        EXPECT_EQ(GetCpuDataFromRegistry(&settings), 0);
        EXPECT_EQ(settings.cpuCount, count) << list;
        CpuThresholdRow row{};
        EXPECT_EQ(GetCpuThreshold(count, &row) + GetCpuThreshold(count + 1, &row), 1);
        // As by default: nothing to write, were it not for what is damaged.
        EXPECT_TRUE(PutCpuThreshold(count, &row) == 1 && read_text(state("registry.conf")).empty());
    }
    const std::string group = "[SOFTWARE/QUD/ZELAgent/CPU/CPU1]\n";
    write_text(state("registry.conf"), group + "Enable=dword:7\n");
    CpuThresholdRow row{};
    EXPECT_EQ(GetCpuThreshold(1, &row) + PutCpuThreshold(1, &row), 2);
    EXPECT_TRUE(read_text(state("registry.conf")).starts_with(group + "Enable=dword:0\n"));
}

TEST_F(Monitor, DisksAreListedOnceAndNothingElseIs) {
    for (const Disk& disk : {Disk{"vda"},
                             {"nvme1n1", "virtual/nvme-subsystem/nvme-subsys1", "8", "eui.01"},
                             {"nvme1c0n1", "pci0/nvme/nvme0", "8", "eui.01", "1"},
                             {"nvme3n1", "virtual/nvme-fabrics/ctl/nvme3", "8", "eui.02"},
                             {"nvme4n1", "virtual/nvme-fabrics/ctl/nvme4", "8", "eui.02"},
                             {"loop0", "virtual/block"},
                             {"sr0", "pci0/block", "2097151"},
                             {"fd0", "floppy.0/block"},
                             {"mmcblk0", "mmc0/block"},
                             {"mmcblk0boot0", "mmc0/block/mmcblk0"},
                             {"sdempty", "usb1/block", "0"},
                             {"sda", "pci0/block", "8", "naa.50"},
                             {"sdb", "pci1/block", "8", "naa.50"},
                             {"sdc", "pci1/block", "16", "naa.50"},  // no path to a disk of that size
                             {"sdd", "pci1/block", "8", "naa.00"},   // no identity
                             {"sde", "pci1/block", "8", "naa.00"}})
        add_disk(disk);
    EXPECT_EQ(zel::system::list_disks(),
              (Strings{"mmcblk0", "nvme1n1", "nvme3n1", "sda", "sdc", "sdd", "sde", "vda"}));
}

TEST_F(Monitor, StorageKeepsTheThresholdsOfDisksThatComeAndGo) {
    const std::string longest(29, 'x');
    for (const std::string& name : {std::string("sdb"), std::string("nvme10n1"), std::string("nvme2n1"),
                                    std::string("a\nb [%41]"), longest, longest + 'x'})
        add_disk({name});
    const std::string defaults = " 100/50+ 10/5+ 10/5+ 10/5+\n";
    Tables tables;
    EXPECT_EQ(tables.text(), "60 s\na\nb [%41]" + defaults + "nvme2n1" + defaults + "nvme10n1" + defaults +
                                 "sdb" + defaults + longest + defaults);
    ASSERT_EQ(tables.write(), STORAGE_NO_SERVICE);
    const std::string log = log_beside([&] {
        tables.interval = 3600;
        tables.values[0][0].fatal = 120;
        tables.values[3][2].state = STORAGE_STATE_OFF;
        EXPECT_EQ(tables.write(), 0);
        for (const char* name : {"sdb", "nvme2n1", "nvme10n1"})
            fs::remove(home("sys/block/") + name);
        add_disk({"sdc"});
        const Tables later;
        const std::string changed = "3600 s\na\nb [%41] 120/50+ 10/5+ 10/5+ 10/5+\n";
        EXPECT_EQ(later.text(), changed + "sdc" + defaults + longest + defaults);
        EXPECT_EQ(later.write(), 0);
        add_disk({"sdb"});
        Tables last;
        EXPECT_EQ(last.text(),
                  changed + "sdb 100/50+ 10/5+ 10/5- 10/5+\nsdc" + defaults + longest + defaults);
        EXPECT_EQ(SetDefaultStorageService(9, last.count, last.names.get(), last.values.get(), 1), 0);
        EXPECT_EQ(last.values[1][2].state, STORAGE_STATE_ON);
        EXPECT_EQ(Tables().text(), last.text().replace(0, 4, "9"));
    });
    EXPECT_EQ(log,
              "storage: interval 60 -> 3600\nstorage: a%0Ab %5B%2541%5D recoverable fatal 100 -> 120\n"
              "storage: sdb media watch on -> off\nstorage: sdc is new in the file\n"
              "storage: interval 3600 -> 9\nstorage: sdb media watch off -> on\nZELntserver ends\n");
}

TEST_F(Monitor, WhatCannotBeSavedIsRefusedAndTheFilesStand) {
    add_disk({"sda"});
    const Tables tables;
    ASSERT_EQ(tables.write() + save({record("/")}), STORAGE_NO_SERVICE - 1);
    const auto texts = [] { return read_text(state("storage.conf")) + read_text(state("filesystem.conf")); };
    const std::string before = texts();
    for (const auto& [interval, count] : {std::pair(3601, 1), {60, -1}, {60, 1025}})
        EXPECT_EQ(WriteThreshold(interval, count, tables.names.get(), tables.values.get()),
                  STORAGE_WRITE_FAILED);
    for (const StorageThresholdItem bad : {StorageThresholdItem{5, 5, 1}, {5, -1, 1}, {5, 1, 3}}) {
        tables.values[0][1] = bad;
        EXPECT_EQ(tables.write(), STORAGE_WRITE_FAILED);
    }
    FsThresholdRecord endless = record("/"), wrong_order = record("/"), ring = record("/");
    std::memset(endless.path, '/', FS_PATH_SIZE);
    wrong_order.fatalResetPercent = wrong_order.fatalReportPercent;
    ring.next = &ring;
    for (const FsThresholdRecord& bad : {record(""), record("var"), record("/", 5), endless, wrong_order})
        EXPECT_EQ(save({record("/"), bad}), FS_WRITE_FAILED);
    EXPECT_EQ(ResetFilesysService(&ring, 1), FS_WRITE_FAILED);
    EXPECT_EQ(TestInputFilesysParameter(&ring, 1), FS_TEST_FAILED);
    EXPECT_EQ(texts(), before);
}

}  // namespace
