// SPDX-License-Identifier: GPL-3.0-or-later
// Storage devices, file systems, network interfaces and RAID controllers: settings on a made-up machine.
#include <sys/statfs.h>

#include <array>
#include <climits>
#include <cstring>
#include <functional>
#include <memory>

#include "access/filesystem_settings.h"
#include "access/storage_settings.h"
#include "service_process.h"
#include "store/key_file.h"
#include "zel/access_monitor.h"

namespace {

namespace access = zel::access;
using namespace zel::test;
using zel::store::KeyFile;

class Monitor : public ::testing::Test {
  protected:
    void SetUp() override {
        fs::create_directories(home("sys/block"));
        write_text(home("agent.conf"),
                   "[monitor]\nsys_block=" + home("sys/block") + "\nmountinfo=" + home("mountinfo") + '\n');
        mount({"8:1 / / ext4"});
    }
    static void add_disk(const std::string& name, const std::string& below = "pci0/block",
                         const std::string& sectors = "8", bool hidden = false) {
        const std::string device = "devices/" + below + '/' + name;
        fs::create_directories(home("sys/" + device));
        write_text(home("sys/" + device + "/size"), sectors + "\n");
        if (hidden) write_text(home("sys/" + device + "/hidden"), "1\n");
        fs::create_symlink("../" + device, home("sys/block/" + name));
    }
    static void remove_disk(const std::string& name) { fs::remove(home("sys/block/" + name)); }

    /// Mounts made up as "<major:minor> <folder> <path> <type>".
    static void mount(const Strings& mounts) {
        std::string text;
        for (const std::string& line : mounts) {
            const std::size_t type = line.rfind(' ');
            text += "1 1 " + line.substr(0, type) + " rw -" + line.substr(type) + " source rw\n";
        }
        write_text(home("mountinfo"), text);
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

/// What the library lists: interval, then path, mode, percentages and spaces; "" when it fails.
std::string filesystems() {
    auto* head = static_cast<FsThresholdRecord*>(calloc(1, sizeof(FsThresholdRecord)));
    int cycle = -1;
    std::ostringstream text;
    if (File_ReadThresholdFromFile(head, &cycle) == 1) text << cycle << " s\n";
    for (const auto* r = head; r && cycle > 0; r = r->next)
        text << r->path << ' ' << "??o%s"[r->mode] << ' ' << r->fatalReportPercent << ' '
             << r->fatalResetPercent << ' ' << r->warningReportPercent << ' ' << r->warningResetPercent << ' '
             << r->fatalReportSpace << ' ' << r->fatalResetSpace << ' ' << r->warningReportSpace << ' '
             << r->warningResetSpace << '\n';
    EXPECT_EQ(FreeMemofStruct(&head), 1);
    return text.str();
}

TEST_F(Monitor, StorageKeepsTheThresholdsOfDisksThatComeAndGo) {
    const std::string longest(29, 'x');
    for (const std::string& name : {std::string("sdb"), std::string("a\nb [%41]"), longest, longest + 'x'})
        add_disk(name);
    add_disk("nvme10n1", "virtual/nvme-subsystem/nvme-subsys0");
    add_disk("nvme2n1");
    add_disk("nvme2c0n1", "pci0/nvme", "8", true);
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
            remove_disk(name);
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

TEST_F(Monitor, DamagedStorageValuesReadAsTheirDefaults) {
    add_disk("sda");
    const std::string good =
        "recoverable.fatal=9\nrecoverable.warning=8\nrecoverable.enabled=false\nmedia.fatal=5\n";
    for (const auto& [line, damaged, expected] : std::initializer_list<std::array<std::string, 3>>{
             {"media.fatal=5", "media.fatal=", "9/8- 10/5+ 10/5+"},
             {"recoverable.fatal=9", "recoverable.fatal=2147483648", "100/8- 10/5+ 5/4+"},
             {"recoverable.fatal=9", "recoverable.fatal=8", "100/50- 10/5+ 5/4+"},
             {"recoverable.warning=8", "recoverable.warning=-1", "100/50- 10/5+ 5/4+"},
             {"recoverable.enabled=false", "recoverable.enabled=no", "9/8+ 10/5+ 5/4+"},
             {"media.fatal=5", "[device s%64a]\nmedia.fatal=9\n[device sda]", "9/8- 10/5+ 10/4+"},
             {"media.fatal=5", "media.fatal", "100/50+ 10/5+ 10/5+"}}) {
        std::string text = "[general]\ninterval=3601\n[device sda]\nmedia.warning=4\n" + good;
        text.replace(text.find(line), line.size(), damaged);
        write_text(state("storage.conf"), text);
        EXPECT_EQ(Tables().text(), "60 s\nsda " + expected + " 10/5+\n") << damaged;
        fs::remove(state("storage.conf"));
    }
}

TEST_F(Monitor, AFullTableIsWrittenAndWhatIsNotInItIsKept) {
    for (int i = 0; i < 1100; ++i)
        add_disk("sd" + std::to_string(i));
    write_text(state("storage.conf"), "[device gone]\nmedia.fatal=77\nnote=x\n");
    Tables tables;
    ASSERT_EQ(tables.count, STORAGE_DEVICES_MAX);
    for (int row = 0; row < tables.count; ++row)
        tables.values[row][3] = {.fatal = INT_MAX, .warning = row, .state = STORAGE_STATE_ON};
    ASSERT_EQ(tables.write(), STORAGE_NO_SERVICE);
    EXPECT_EQ(Tables().text(), tables.text());
    KeyFile file;
    read_key_file(state("storage.conf"), file);
    EXPECT_EQ(file.get("device gone", "media.fatal"), "77");
    EXPECT_EQ(file.get("device gone", "note"), "x");
}

TEST_F(Monitor, WhatCannotBeSavedIsRefusedAndTheFilesStand) {
    add_disk("sda");
    const Tables tables;
    ASSERT_EQ(tables.write(), STORAGE_NO_SERVICE);
    ASSERT_EQ(save({record("/")}), -1);
    ASSERT_EQ(ResetMylexService(10), MYLEX_NO_SERVICE);
    const auto texts = [] {
        return read_text(state("storage.conf")) + read_text(state("filesystem.conf")) +
               read_text(state("zelmlx.inf"));
    };
    const std::string before = texts();
    auto* const names = tables.names.get();
    auto* const values = tables.values.get();
    for (const auto& [interval, count] : {std::pair(0, 1), {3601, 1}, {60, -1}, {60, 1025}})
        EXPECT_EQ(WriteThreshold(interval, count, names, values), STORAGE_WRITE_FAILED);
    for (const StorageThresholdItem bad : {StorageThresholdItem{5, 5, 1}, {5, -1, 1}, {5, 1, 3}}) {
        values[0][1] = bad;
        EXPECT_EQ(tables.write(), STORAGE_WRITE_FAILED);
    }
    std::memset(names[0], 'x', STORAGE_NAME_SIZE);
    EXPECT_EQ(SetDefaultStorageService(60, 1, names, values, 0), STORAGE_WRITE_FAILED);
    EXPECT_EQ(values[0][1].state, 3);

    FsThresholdRecord endless = record("/"), wrong_order = record("/");
    std::memset(endless.path, '/', FS_PATH_SIZE);
    wrong_order.fatalResetPercent = wrong_order.fatalReportPercent;
    for (const FsThresholdRecord& bad : {record(""), record("var"), record("/", 5), endless, wrong_order})
        EXPECT_EQ(save({record("/"), bad}), FS_WRITE_FAILED);
    EXPECT_EQ(save({record("/")}, 3601), FS_WRITE_FAILED);
    for (const int interval : {9, 3601})
        EXPECT_EQ(ResetMylexService(interval), MYLEX_BAD_INTERVAL);
    EXPECT_EQ(texts(), before);

    for (const char* name : {"storage.conf", "filesystem.conf", "zelmlx.inf", "registry.conf"}) {
        fs::remove(state(name));
        fs::create_directory(state(name));  // neither read nor replaced
    }
    MylexThresholdBlock block{};
    LanSettingsRecord lan{60, 10, 20, 20};
    EXPECT_EQ(Mylex_ReadThresholdFromFile(&block), MYLEX_NO_FILE);
    EXPECT_EQ(ResetMylexService(60), MYLEX_WRITE_FAILED);
    EXPECT_EQ(save({record("/")}), FS_WRITE_FAILED);
    EXPECT_EQ(filesystems(), "");
    EXPECT_EQ(Tables().count + PutLanThreshold(&lan), 0);
    EXPECT_EQ(GetLanDataFromRegistry(&lan), 1);
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
        std::string text = path + " o 95 90 85 80";
        for (const unsigned free : {5U, 10U, 15U, 20U})
            text += ' ' + std::to_string(free * size);
        return text + '\n';
    };
    EXPECT_EQ(filesystems(), "60 s\n" + defaults("/") + defaults(home("a b")));
    // Saved: the root under another path, a dead server, and one that is not there.
    ASSERT_EQ(save({record(home("bind")), record("/dead", FS_MODE_SPACE), record("/gone", FS_MODE_OFF)}, 9),
              -1);
    const std::string dead = "9 s\n/dead s 74 73 72 71 10 11 12 13\n";
    EXPECT_EQ(filesystems(), dead + defaults(home("a b")) + home("bind") + " % 74 73 72 71 10 11 12 13\n");
    EXPECT_EQ(log_beside([] { EXPECT_EQ(save({record("/dead", FS_MODE_PERCENT)}, 9), 0); }),
              "filesystem: /dead watch space -> percent\nZELntserver ends\n");
    KeyFile file;
    read_key_file(state("filesystem.conf"), file);
    EXPECT_EQ(file.get("/dead", "present"), "true");
    EXPECT_EQ(file.get("/gone", "present"), "false");
    EXPECT_EQ(file.get("/gone", "fatal.report.percent"), "74");
}

TEST_F(Monitor, EveryPathComesBack) {
    const std::string longest = '/' + std::string(4094, '%');
    std::vector<FsThresholdRecord> records;
    Strings mounts;
    std::string expected = "30 s\n";
    for (const auto& [path, mounted_as] : std::initializer_list<std::pair<std::string, std::string>>{
             {longest, longest},
             {"/[x]%5d \\;#=", "/[x]%5d\\040\\134;#="},
             {"/not utf-8 \xFF \xC3\xA4", "/not\\040utf-8\\040\xFF\\040\xC3\xA4"},
             {"/tab\tline\n\x7F", "/tab\\011line\\012\x7F"}}) {
        records.push_back(record(path));
        mounts.push_back("0:" + std::to_string(records.size()) + " / " + mounted_as + " nfs4");
        expected += path + " % 74 73 72 71 10 11 12 13\n";
    }
    mount(mounts);
    ASSERT_EQ(save(records), -1);
    EXPECT_EQ(filesystems(), expected);
}

TEST_F(Monitor, FilesystemThresholdsAreJudgedByTheirMode) {
    constexpr int big = FS_TEST_FATAL_BIG, small = FS_TEST_WARNING_SMALL, order = FS_TEST_ORDER;
    struct Case {
        access::FsLevels levels;
        std::array<int, 4> bits;  ///< in percent, in space of 3700 MiB, of unknown size, of less than 100 MiB
    };
    for (const Case& c : std::initializer_list<Case>{
             {{100, 99, 2, 1}, {0, order, order, big | small}},
             {{1, 2, 99, 3700}, {order, 0, 0, big | small}},
             {{0, 2, 99, 3701}, {order, small, 0, big | small}},
             {{3701, 3702, 3703, 3704}, {big | order, big | small, 0, big | small}},
             {{101, 100, 3, 2}, {big, order, order, big | small}},
             {{-4, -3, -2, -1}, {big | small | order, big | small, big | small, big | small}},
             {{90, 80, 80, 70}, {order, order, order, big | small}},
             {{0, 0, 0, 0}, {small | order, order, 0, 0}}}) {
        const access::FsSettings percent{FS_MODE_PERCENT, c.levels, {}}, space{FS_MODE_SPACE, {}, c.levels};
        EXPECT_EQ(
            (std::array{judge(percent, 37), judge(space, 37), judge(space, std::nullopt), judge(space, 0)}),
            c.bits)
            << ::testing::PrintToString(c.levels);
        EXPECT_EQ(access::judge({FS_MODE_OFF, c.levels, c.levels}, 37), 0);
    }
    const access::FsLevels huge = access::filesystem_defaults(UINT64_MAX).space;
    EXPECT_EQ(access::judge({FS_MODE_SPACE, {}, huge}, UINT64_MAX), 0);

    mount({"8:1 / / ext4", "0:7 / /net nfs4"});
    FsThresholdRecord last = record("/net", FS_MODE_SPACE), first = record("/", FS_MODE_SPACE);
    first.next = &last;
    first.warningResetSpace = last.warningResetSpace = INT_MAX;
    EXPECT_EQ(TestInputFilesysParameter(&last, 3601), FS_TEST_INTERVAL);
    EXPECT_EQ(TestInputFilesysParameter(&first, 0), FS_TEST_INTERVAL | FS_TEST_WARNING_SMALL);
    last.mode = 5;
    EXPECT_EQ(TestInputFilesysParameter(&last, 1), FS_TEST_FAILED);
    last.next = &first;  // a ring
    EXPECT_EQ(TestInputFilesysParameter(&first, 1), FS_TEST_FAILED);
    EXPECT_EQ(ResetFilesysService(&first, 1), FS_WRITE_FAILED);
}

TEST_F(Monitor, DamagedFilesystemValuesReadAsTheirDefaults) {
    mount({"0:7 / /net nfs4"});
    FsThresholdRecord derived = record("/net");
    derived.fatalReportSpace = -2;  // beyond what there is, in the form that does not count
    ASSERT_EQ(save({derived}), -1);
    const std::string whole = read_text(state("filesystem.conf"));
    for (const auto& [line, damaged, expected] : std::initializer_list<std::array<std::string, 3>>{
             {"mode=percent", "mode=PERCENT", "o 74 73 72 71 0 11 12 13"},
             {"fatal.report.percent=74", "fatal.report.percent=101", "% 95 73 72 71 0 11 12 13"},
             {"fatal.report.percent=74", "fatal.report.percent=73", "% 95 90 85 80 0 0 0 0"},
             {"fatal.report.space=0", "fatal.report.space=13", "% 74 73 72 71 13 11 12 13"}}) {
        std::string text = whole;
        text.replace(text.find(line), line.size(), damaged);
        write_text(state("filesystem.conf"), text);
        EXPECT_EQ(filesystems(), "30 s\n/net " + expected + '\n') << damaged;
    }
}

TEST_F(Monitor, LanAndRaidSettingsStayWithinTheirRanges) {
    const auto lan = [] {
        LanSettingsRecord r{};
        EXPECT_NE(GetLanDataFromRegistry(&r), 1);
        return std::array{r.interval, r.hardware, r.retry, r.abort_};
    };
    EXPECT_EQ(lan(), (std::array{60, 10, 20, 20}));
    MylexThresholdBlock block{};
    EXPECT_EQ(Mylex_ReadThresholdFromFile(&block), 0);
    EXPECT_EQ(read_text(state("zelmlx.inf")), "[general]\ninterval=60\n");
    const std::string log = log_beside([] {
        for (const auto& [record, bits] : std::initializer_list<std::pair<LanSettingsRecord, int>>{
                 {{1, 0, 10, 10}, 0},
                 {{3600, 100, 50, 50}, 0},
                 {{0, 100, 50, 51}, LAN_TEST_INTERVAL | LAN_TEST_ABORT},
                 {{3601, 101, 50, 50}, LAN_TEST_INTERVAL | LAN_TEST_HARDWARE},
                 {{1, -1, 9, 9}, LAN_TEST_HARDWARE | LAN_TEST_RETRY | LAN_TEST_ABORT},
                 {{1, 0, 51, 50}, LAN_TEST_RETRY}}) {
            EXPECT_EQ(TestInputLanParameter(&record), bits);
            EXPECT_EQ(PutLanThreshold(&record) != 0, bits == 0);
        }
        EXPECT_EQ(ResetMylexService(3600), 0);
    });
    EXPECT_EQ(lan(), (std::array{3600, 100, 50, 50}));
    EXPECT_NE(log.find("lan: "), std::string::npos);
    EXPECT_NE(log.find("raid: interval 60 -> 3600\n"), std::string::npos);
    write_text(state("registry.conf"),
               "[SOFTWARE/QUD/ZELAgent/LAN]\nInterval=sz:5\nHardware=dword:4294967295\nRetry=dword:30\n");
    EXPECT_EQ(lan(), (std::array{60, 10, 30, 20}));

    EXPECT_EQ(Mylex_ReadThresholdFromFile(&block), 0);
    for (const std::string text : {"", "[general]\ninterval=9\n", "[general]\ninterval=1O\n", "[general"}) {
        write_text(state("zelmlx.inf"), text);  // reading never mends it
        EXPECT_EQ(Mylex_ReadThresholdFromFile(&block), MYLEX_READ_FAILED) << text;
        EXPECT_EQ(read_text(state("zelmlx.inf")), text);
    }
    EXPECT_EQ(block.interval, 3600);
}

}  // namespace
