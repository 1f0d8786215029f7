// SPDX-License-Identifier: GPL-3.0-or-later
// Storage devices and file systems: settings on a made-up machine.
#include <sys/statfs.h>

#include <array>
#include <climits>
#include <cstring>
#include <functional>
#include <memory>

#include "access/filesystem_settings.h"
#include "service_process.h"
#include "zel/access_monitor.h"

namespace {

namespace access = zel::access;
using namespace zel::test;

class Monitor : public ::testing::Test {
  protected:
    void SetUp() override {
        fs::create_directories(home("sys/block"));
        write_text(home("agent.conf"),
                   "[monitor]\nsys_block=" + home("sys/block") + "\nmountinfo=" + home("mountinfo") + '\n');
        mount({"8:1 / / ext4"});
    }
    static void add_disk(const std::string& name, const std::string& below = "pci0/block",
                         const std::string& sectors = "8", const std::string& hidden = "0") {
        const std::string device = "devices/" + below + '/' + name;
        fs::create_directories(home("sys/" + device));
        write_text(home("sys/" + device + "/size"), sectors + '\n');
        write_text(home("sys/" + device + "/hidden"), hidden + '\n');
        fs::create_symlink("../" + device, home("sys/block/" + name));
    }
    /// Mounts made up as "<major:minor> <folder> <path> <type>".
    static void mount(const Strings& mounts) {
        std::ofstream file(home("mountinfo"));
        for (const std::string& line : mounts)
            file << "1 1 " << line.substr(0, line.rfind(' ')) << " rw - " << line.substr(line.rfind(' '))
                 << " x rw\n";
    }
};

/// Runs `body` beside the service, which starts from the settings as they are; what the service then said.
std::string log_beside(const std::function<void()>& body) {
    ServiceProcess service;
    EXPECT_TRUE(service.ready());
    const std::size_t before = service.said().size();
    body();
    EXPECT_EQ(CheckNTserverReady(), 0);  // whatever was asked before this is done when it is answered
    kill(service.id(), SIGTERM);
    EXPECT_TRUE(service.says("ZELntserver ends\n"));
    return service.said().substr(before);
}

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
        for (int row = 0; row < count; ++row) {
            text << names[row];
            for (const auto& item : values[row])
                text << ' ' << item.fatal << '/' << item.warning << "?+-"[item.state];
            text << '\n';
        }
        return text.str();
    }
};

/// A valid record: 74 to 71 percent, 10 to 13 MiB.
FsThresholdRecord record(const std::string& path, int mode = FS_MODE_PERCENT) {
    FsThresholdRecord result{{}, {}, 10, 11, 74, 73, mode, 12, 13, 72, 71, 0, nullptr};
    path.copy(result.path, FS_PATH_SIZE - 1);
    return result;
}

int save(std::vector<FsThresholdRecord> records, int cycle = 30) {
    for (std::size_t i = 1; i < records.size(); ++i)
        records[i - 1].next = &records[i];
    return ResetFilesysService(records.data(), cycle);
}

/// What the library lists: interval, then path, mode, a percentage and spaces; "" when it fails.
std::string filesystems() {
    auto* head = static_cast<FsThresholdRecord*>(calloc(1, sizeof(FsThresholdRecord)));
    int cycle = -1;
    std::ostringstream text;
    if (File_ReadThresholdFromFile(head, &cycle) == 1) text << cycle << " s\n";
    for (const auto* r = head; r && cycle > 0; r = r->next)
        text << r->path << ' ' << "??o%s"[r->mode] << ' ' << r->fatalReportPercent << ' '
             << r->fatalReportSpace << ' ' << r->warningResetSpace << '\n';
    EXPECT_EQ(FreeMemofStruct(&head), 1);
    return text.str();
}

TEST_F(Monitor, StorageKeepsTheThresholdsOfDisksThatComeAndGo) {
    const std::string longest(29, 'x');
    for (const std::string& name : {std::string("sdb"), std::string("a\nb [%41]"), longest, longest + 'x'})
        add_disk(name);
    add_disk("nvme10n1", "virtual/nvme-subsystem/nvme-subsys0");
    add_disk("nvme2n1");
    add_disk("nvme2c0n1", "pci0/nvme", "8", "1");
    add_disk("loop0", "virtual/block");
    add_disk("sr0", "pci0/block", "0");
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
        add_disk("sdc");
        const Tables later;
        const std::string changed = "3600 s\na\nb [%41] 120/50+ 10/5+ 10/5+ 10/5+\n";
        EXPECT_EQ(later.text(), changed + "sdc" + defaults + longest + defaults);
        EXPECT_EQ(later.write(), 0);
        add_disk("sdb");
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
    add_disk("sda");
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

TEST_F(Monitor, FilesystemsAreTheLocalOnesAndWhatWasSaved) {
    for (const char* name : {"a b", "bind", "over"})
        fs::create_directory(home(name));
    mount({"0:5 / /proc proc", "8:1 /home " + home("bind") + " ext4", "8:1 / / ext4", "8:1 /x /etc ext4",
           "8:2 / " + home("a\\040b") + " xfs", "8:3 / " + home("over") + " ext4",
           "0:6 / " + home("over") + " tmpfs", "0:7 / /nfs nfs4", "0:8 / /dead nfs4", "0:9 / /fuse fuse.any",
           "7:1 / /image squashfs", "8:9 / /cannot/be/asked ext4",
           "8:4 / /" + std::string(4095, 'x') + " ext4", "no mount at all"});
    const auto defaults = [](const std::string& path) {
        struct statfs info {};
        EXPECT_EQ(statfs(path.c_str(), &info), 0);
        const auto size = ((info.f_blocks * static_cast<std::uint64_t>(info.f_bsize)) >> 20U) / 100;
        return path + " o 95 " + std::to_string(5 * size) + ' ' + std::to_string(20 * size) + '\n';
    };
    EXPECT_EQ(filesystems(), "60 s\n" + defaults("/") + defaults(home("a b")));
    // Saved: the root under another path, a dead server, and one that is not there.
    ASSERT_EQ(save({record(home("bind")), record("/dead", FS_MODE_SPACE), record("/gone", FS_MODE_OFF)}, 9),
              -1);
    const std::string dead = "9 s\n/dead s 74 10 13\n";
    EXPECT_EQ(filesystems(), dead + defaults(home("a b")) + home("bind") + " % 74 10 13\n");
    EXPECT_EQ(log_beside([] { EXPECT_EQ(save({record("/dead", FS_MODE_PERCENT)}, 9), 0); }),
              "filesystem: /dead watch space -> percent\nZELntserver ends\n");
    mount({"0:7 / /gone nfs4"});
    write_text(state("filesystem.conf"),
               "[general]\ninterval=0\n[/gone]\nmode=percent\nfatal.report.percent=101\n");
    EXPECT_TRUE(filesystems().starts_with("60 s\n/gone % 95 ")) << filesystems();
}

TEST_F(Monitor, FilesystemThresholdsAreJudgedByTheirMode) {
    constexpr int big = FS_TEST_FATAL_BIG, small = FS_TEST_WARNING_SMALL, order = FS_TEST_ORDER;
    using Case = std::pair<access::FsLevels, std::array<int, 4>>;
    // In percent, in space of 3700 MiB, of unknown size, of less than 100 MiB.
    for (const auto& [levels, bits] :
         {Case{{100, 99, 2, 1}, {0, order, order, big | small}},
          Case{{1, 2, 99, 3700}, {order, 0, 0, big | small}},
          Case{{0, 2, 99, 3701}, {order, small, 0, big | small}},
          Case{{3701, 3702, 3703, 3704}, {big | order, big | small, 0, big | small}},
          Case{{101, 100, 3, 2}, {big, order, order, big | small}},
          Case{{90, 80, 80, 70}, {order, order, order, big | small}},
          Case{{0, 0, 0, 0}, {small | order, order, 0, 0}}}) {
        const access::FsSettings percent{FS_MODE_PERCENT, levels, {}}, space{FS_MODE_SPACE, {}, levels};
        const std::array judged{judge(percent, 37), judge(space, 37), judge(space, std::nullopt),
                                judge(space, 0)};
        EXPECT_EQ(judged, bits) << ::testing::PrintToString(levels);
    }
    FsThresholdRecord wrong = record("/", FS_MODE_SPACE);
    wrong.warningResetSpace = INT_MAX;
    EXPECT_EQ(TestInputFilesysParameter(&wrong, 0), FS_TEST_INTERVAL | FS_TEST_WARNING_SMALL);
}

}  // namespace
