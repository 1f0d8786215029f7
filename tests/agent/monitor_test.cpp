// SPDX-License-Identifier: GPL-3.0-or-later
// Storage devices, file systems, network interfaces and RAID controllers: settings on a made-up machine.
#include <sys/statfs.h>

#include <algorithm>
#include <climits>

#include "access/filesystem_settings.h"
#include "access/storage_settings.h"
#include "monitor_fixture.h"
#include "store/key_file.h"

namespace {

namespace access = zel::access;
using namespace zel::test;
using zel::store::KeyFile;

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
    const auto service_log = log_beside([&] {
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
        KeyFile file;
        read_key_file(state("storage.conf"), file);
        EXPECT_EQ(file.get("device sdb", "present"), "false");
        EXPECT_EQ(file.get("device sdc", "present"), "true");
        add_disk("sdb");
        Tables last;
        EXPECT_EQ(last.text(),
                  changed + "sdb 100/50+ 10/5+ 10/5- 10/5+\nsdc" + defaults + longest + defaults);
        EXPECT_EQ(ResetStorageService(1), 0);
        EXPECT_EQ(SetDefaultStorageService(9, last.count, last.names.get(), last.values.get(), 1), 0);
        EXPECT_EQ(last.values[1][2].state, STORAGE_STATE_ON);
        EXPECT_EQ(Tables().text(), last.text().replace(0, 4, "9"));
        remove_disk("sdb");
        EXPECT_EQ(ResetStorageService(2), STORAGE_NO_SERVICE);
    });
    const std::string odd = "storage: a%0Ab %5B%2541%5D ";
    EXPECT_EQ(service_log, (Strings{"storage: interval 60 -> 3600", odd + "recoverable fatal 100 -> 120",
                                    "storage: sdb media watch on -> off", "storage: sdc is new in the file",
                                    odd + "starts anew", "storage: interval 3600 -> 9",
                                    "storage: sdb media watch off -> on"}));
}

TEST_F(Monitor, StorageWritesAFullTableAtOnceAndLeavesOutMoreDisks) {
    for (int i = 0; i < 1100; ++i)
        add_disk("sd" + std::to_string(i));
    std::string other = "[general]\ninterval=7\n";
    for (int i = 0; i < 3000; ++i)
        other += "[device gone" + std::to_string(i) + "]\nmedia.fatal=77\n";
    write_text(state("storage.conf"), other);
    Tables tables;
    ASSERT_EQ(tables.count, STORAGE_DEVICES_MAX);
    for (int row = 0; row < tables.count; ++row)
        tables.values[row][3] = {.fatal = INT_MAX, .warning = row, .state = STORAGE_STATE_ON};
    ASSERT_EQ(tables.write(), STORAGE_NO_SERVICE);
    EXPECT_EQ(Tables().text(), tables.text());
    access::StorageSettings saved;
    ASSERT_EQ(access::read_storage(saved), zel::store::Status::ok);
    EXPECT_EQ(saved.devices.size(), 4024U);
    EXPECT_EQ(saved.devices.at("gone2999").at(2).fatal, 77);
}

TEST_F(Monitor, DamagedStorageValuesReadAsTheirDefaults) {
    add_disk("sda");
    const std::string good =
        "recoverable.fatal=9\nrecoverable.warning=8\nrecoverable.enabled=false\nnonrecoverable.fatal=7\n"
        "nonrecoverable.warning=6\nnonrecoverable.enabled=true\nmedia.fatal=5\nmedia.warning=4\n"
        "media.enabled=true\nhardware.fatal=3\nhardware.warning=0\nhardware.enabled=true\n";
    for (const auto& [line, damaged, expected] : std::initializer_list<std::array<std::string, 3>>{
             {"hardware.fatal=3", "hardware.fatal=0x3", "9/8- 7/6+ 5/4+ 3/0+"},
             {"hardware.fatal=3", "hardware.fatal=", "9/8- 7/6+ 5/4+ 10/0+"},
             {"recoverable.fatal=9", "recoverable.fatal=2147483648", "100/8- 7/6+ 5/4+ 3/0+"},
             {"recoverable.fatal=9", "recoverable.fatal=8", "100/50- 7/6+ 5/4+ 3/0+"},
             {"recoverable.warning=8", "recoverable.warning=-1", "100/50- 7/6+ 5/4+ 3/0+"},
             {"recoverable.enabled=false", "recoverable.enabled=no", "9/8+ 7/6+ 5/4+ 3/0+"},
             {"media.fatal=5", "[device s%64a]\nmedia.fatal=9\n[device sda]", "9/8- 7/6+ 10/4+ 3/0+"},
             {"media.fatal=5", "[device sda]\nmedia.fatal=6", "9/8- 7/6+ 6/4+ 3/0+"},
             {"media.fatal=5", "media.fatal", "100/50+ 10/5+ 10/5+ 10/5+"}}) {
        std::string text = "[general]\ninterval=3601\n[device sda]\n" + good;
        text.replace(text.find(line), line.size(), damaged);
        write_text(state("storage.conf"), text);
        EXPECT_EQ(Tables().text(), "60 s\nsda " + expected + '\n') << damaged;
    }
}

TEST_F(Monitor, AStorageFileCutOffAnywhereLosesNothingMore) {
    add_disk("sda");
    const std::string whole =
        "# ours\n[general]\ninterval=9\n[device gone]\nmedia.fatal=7\nnote=x\n[device \xFF]\nnote=y\n"
        "[device sda]\nmedia.fatal=8\n";
    for (std::size_t size = 0; size < whole.size(); ++size) {
        const std::string cut = whole.substr(0, size);
        write_text(state("storage.conf"), cut);
        ASSERT_EQ(Tables().write(), STORAGE_NO_SERVICE) << cut;
        KeyFile before;
        KeyFile after;
        const bool parses = before.parse(cut);
        read_key_file(state("storage.conf"), after);
        for (const char* group : {"device gone", "device \xFF"})
            EXPECT_EQ(after.get(group, "note"), before.get(group, "note")) << cut;
        const Strings aside = state_files("corrupt");
        ASSERT_EQ(aside.size(), parses ? 0U : 1U) << cut;
        if (parses) continue;
        EXPECT_EQ(read_text(aside[0]), cut);
        fs::remove(aside[0]);
    }
}

TEST_F(Monitor, WhatCannotBeSavedIsRefusedAndTheFilesStand) {
    add_disk("sda");
    const Tables tables;
    ASSERT_EQ(tables.write(), STORAGE_NO_SERVICE);
    ASSERT_EQ(save({record("/")}), -1);
    ASSERT_EQ(ResetMylexService(10), MYLEX_NO_SERVICE);
    const auto texts = [] {
        return Strings{read_text(state("storage.conf")), read_text(state("filesystem.conf")),
                       read_text(state("zelmlx.inf"))};
    };
    const Strings before = texts();
    auto* const names = tables.names.get();
    auto* const values = tables.values.get();
    for (const auto& [interval, count] : {std::pair(0, 1), {3601, 1}, {60, -1}, {60, 1025}})
        EXPECT_EQ(WriteThreshold(interval, count, names, values), STORAGE_WRITE_FAILED);
    for (const StorageThresholdItem bad : {StorageThresholdItem{5, 5, 1}, {5, -1, 1}, {5, 1, 3}}) {
        values[0][1] = bad;
        EXPECT_EQ(tables.write(), STORAGE_WRITE_FAILED);
    }
    EXPECT_EQ(SetDefaultStorageService(60, 1, names, values, 1), STORAGE_WRITE_FAILED);
    std::memset(names[0], 'x', STORAGE_NAME_SIZE);
    EXPECT_EQ(SetDefaultStorageService(60, 1, names, values, 0), STORAGE_WRITE_FAILED);
    EXPECT_EQ(values[0][1].state, 3);
    EXPECT_EQ(ResetStorageService(0), STORAGE_WRITE_FAILED);
    EXPECT_EQ(ResetStorageService(2), STORAGE_WRITE_FAILED);

    FsThresholdRecord endless = record("/");
    std::memset(endless.path, '/', FS_PATH_SIZE);
    FsThresholdRecord wrong_order = record("/");
    wrong_order.fatalResetPercent = wrong_order.fatalReportPercent;
    for (const FsThresholdRecord& bad : {record(""), record("var"), record("/", 5), endless, wrong_order})
        EXPECT_EQ(save({record("/"), bad}), FS_WRITE_FAILED);
    EXPECT_EQ(save({record("/")}, 3601), FS_WRITE_FAILED);
    EXPECT_EQ(ResetFilesysService(nullptr, 60), FS_WRITE_FAILED);
    EXPECT_EQ(ResetMylexService(9), MYLEX_BAD_INTERVAL);
    EXPECT_EQ(ResetMylexService(3601), MYLEX_BAD_INTERVAL);
    EXPECT_EQ(texts(), before);
}

TEST_F(Monitor, FilesThatCannotBeReachedAreToldAsSuch) {
    fs::permissions(folder_, fs::perms(0755));
    fs::permissions(state(""), fs::perms(0555));
    const pid_t user = start_process([] {
        if (geteuid() == 0 && setresuid(65534, 65534, 65534) != 0) return 1;
        MylexThresholdBlock block{};
        const LanSettingsRecord lan{60, 10, 20, 20};
        if (Tables().write() != STORAGE_WRITE_FAILED || save({record("/")}) != FS_WRITE_FAILED) return 2;
        if (Mylex_ReadThresholdFromFile(&block) != MYLEX_NO_FILE) return 3;
        return ResetMylexService(60) == MYLEX_WRITE_FAILED && PutLanThreshold(&lan) == 0 ? 0 : 4;
    });
    EXPECT_EQ(finish_process(user), 0);
    fs::permissions(state(""), fs::perms(0755));
    for (const char* name : {"storage.conf", "filesystem.conf", "registry.conf"})
        fs::create_directory(state(name));
    add_disk("sda");
    LanSettingsRecord lan{};
    EXPECT_EQ(Tables().count, 0);
    EXPECT_EQ(filesystems(), "");
    EXPECT_EQ(GetLanDataFromRegistry(&lan), 1);
}

TEST_F(Monitor, FilesystemsAreTheLocalOnesAndWhatWasSaved) {
    const std::string& f = folder_;
    for (const char* name : {"/a b", "/bind", "/over"})
        fs::create_directory(f + name);
    mount({"0:5 / /proc proc", "8:1 /home " + f + "/bind ext4", "8:1 / / ext4", "8:1 /x /etc ext4",
           "8:2 / " + f + "/a\\040b xfs", "8:3 / " + f + "/over ext4", "0:6 / " + f + "/over tmpfs",
           "0:7 / /nfs nfs4", "0:8 / /dead nfs4", "0:9 / /fuse fuse.any", "7:1 / /image squashfs",
           "8:9 / /cannot/be/asked ext4", "8:4 / /" + std::string(4095, 'x') + " ext4", "no mount at all"});
    const auto defaults = [](const std::string& path) {
        struct statfs info {};
        EXPECT_EQ(statfs(path.c_str(), &info), 0);
        const auto size = ((info.f_blocks * static_cast<std::uint64_t>(info.f_bsize)) >> 20U) / 100;
        std::string text = path + " o 95 90 85 80";
        for (const unsigned free : {5U, 10U, 15U, 20U})
            text += ' ' + std::to_string(free * size);
        return text + '\n';
    };
    EXPECT_EQ(filesystems(), "60 s\n" + defaults("/") + defaults(f + "/a b"));
    // Saved: the root under another path, a dead server, and one that is not there.
    ASSERT_EQ(save({record(f + "/bind"), record("/dead", FS_MODE_SPACE), record("/gone", FS_MODE_OFF)}, 9),
              -1);
    const std::string dead = "9 s\n/dead s 74 73 72 71 10 11 12 13\n";
    EXPECT_EQ(filesystems(), dead + defaults(f + "/a b") + f + "/bind % 74 73 72 71 10 11 12 13\n");
    const auto service_log = log_beside([] { EXPECT_EQ(save({record("/dead", FS_MODE_PERCENT)}, 9), 0); });
    EXPECT_EQ(service_log, Strings{"filesystem: /dead watch space -> percent"});
    KeyFile file;
    read_key_file(state("filesystem.conf"), file);
    EXPECT_EQ(file.get("/dead", "present"), "true");
    EXPECT_EQ(file.get("/gone", "present"), "false");
    EXPECT_EQ(file.get("/gone", "fatal.report.percent"), "74");
    fs::remove(f + "/mountinfo");
    EXPECT_EQ(filesystems(), "");
}

TEST_F(Monitor, EveryPathComesBackAndTenThousandToo) {
    std::vector<FsThresholdRecord> records;
    Strings mounts;
    const auto add = [&](const std::string& path, const std::string& mounted_as) {
        records.push_back(record(path));
        mounts.push_back("0:" + std::to_string(records.size()) + " / " + mounted_as + " nfs4");
    };
    const std::string longest = '/' + std::string(4094, '%');
    add(longest, longest);
    add("/[x]%5d \\;#=", "/[x]%5d\\040\\134;#=");
    add("/tab\tline\n\x7F", "/tab\\011line\\012\x7F");
    add("/not utf-8 \xFF \xC3\xA4", "/not\\040utf-8\\040\xFF\\040\xC3\xA4");
    while (records.size() < 10'000) {
        const std::string path = "/\xC3\xA4" + std::to_string(records.size());
        add(path, path);
    }
    mount(mounts);
    std::ranges::sort(records, [](const auto& a, const auto& b) { return std::strcmp(a.path, b.path) < 0; });
    std::string expected = "30 s\n";
    for (const auto& one : records)
        expected += one.path + std::string(" % 74 73 72 71 10 11 12 13\n");
    ASSERT_EQ(save(records), -1);
    EXPECT_TRUE(filesystems() == expected);
    for (auto& one : records)
        one.mode = FS_MODE_OFF;
    const auto service_log = log_beside([&] { EXPECT_NE(save(records), FS_WRITE_FAILED); });
    EXPECT_EQ(service_log.size(), 1001U);  // no matter how many have changed
}

TEST_F(Monitor, FilesystemThresholdsAreJudgedByTheirMode) {
    constexpr int big = FS_TEST_FATAL_BIG;
    constexpr int small = FS_TEST_WARNING_SMALL;
    constexpr int order = FS_TEST_ORDER;
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
             {{90, 80, 70, 0}, {small, order, order, big | small}},
             {{-1, 0, 1, 2}, {big | order, big, big, big | small}},
             {{-4, -3, -2, -1}, {big | small | order, big | small, big | small, big | small}},
             {{90, 80, 80, 70}, {order, order, order, big | small}},
             {{5, 5, 6, 7}, {order, order, order, big | small}},
             {{0, 0, 0, 0}, {small | order, order, 0, 0}}}) {
        const access::FsSettings percent{FS_MODE_PERCENT, c.levels, {}};
        const access::FsSettings space{FS_MODE_SPACE, {}, c.levels};
        EXPECT_EQ(
            (std::array{judge(percent, 37), judge(space, 37), judge(space, std::nullopt), judge(space, 0)}),
            c.bits)
            << ::testing::PrintToString(c.levels);
        EXPECT_EQ(access::judge({FS_MODE_OFF, c.levels, c.levels}, 37), 0);
    }
    const access::FsLevels huge = access::filesystem_defaults(UINT64_MAX).space;
    EXPECT_EQ(access::judge({FS_MODE_SPACE, {}, huge}, UINT64_MAX), 0);

    mount({"8:1 / / ext4", "0:7 / /net nfs4"});
    FsThresholdRecord last = record("/net", FS_MODE_SPACE);
    FsThresholdRecord first = record("/", FS_MODE_SPACE);
    first.next = &last;
    first.warningResetSpace = last.warningResetSpace = INT_MAX;
    EXPECT_EQ(TestInputFilesysParameter(&last, 3601), FS_TEST_INTERVAL);
    EXPECT_EQ(TestInputFilesysParameter(&first, 0), FS_TEST_INTERVAL | FS_TEST_WARNING_SMALL);
    last.mode = 5;
    EXPECT_EQ(TestInputFilesysParameter(&last, 1), FS_TEST_FAILED);
    last.next = &first;
    EXPECT_EQ(TestInputFilesysParameter(&first, 1), FS_TEST_FAILED);
    EXPECT_EQ(ResetFilesysService(&first, 1), FS_WRITE_FAILED);
    EXPECT_EQ(TestInputFilesysParameter(nullptr, 1), FS_TEST_FAILED);
}

TEST_F(Monitor, DamagedFilesystemValuesReadAsTheirDefaults) {
    mount({"0:7 / /net nfs4"});
    FsThresholdRecord derived = record("/net");
    derived.fatalReportSpace = -2;  // beyond what there is, in the form that does not count
    ASSERT_EQ(save({derived}), -1);
    const std::string whole = read_text(state("filesystem.conf"));
    for (const auto& [line, damaged, expected] : std::initializer_list<std::array<std::string, 3>>{
             {"mode=percent", "mode=percent", "% 74 73 72 71 0 11 12 13"},
             {"mode=percent", "mode=PERCENT", "o 74 73 72 71 0 11 12 13"},
             {"fatal.report.percent=74", "fatal.report.percent=101", "% 95 73 72 71 0 11 12 13"},
             {"fatal.report.percent=74", "", "% 95 73 72 71 0 11 12 13"},
             {"fatal.report.percent=74", "fatal.report.percent=73", "% 95 90 85 80 0 0 0 0"},
             {"warning.reset.percent=71", "warning.reset.percent=0", "% 95 90 85 80 0 0 0 0"},
             {"fatal.report.space=0", "fatal.report.space=13", "% 74 73 72 71 13 11 12 13"}}) {
        std::string text = whole;
        text.replace(text.find(line), line.size(), damaged);
        write_text(state("filesystem.conf"), text);
        EXPECT_EQ(filesystems(), "30 s\n/net " + expected + '\n') << damaged;
    }
}

TEST_F(Monitor, LanSettingsStayWithinTheirRanges) {
    const auto lan = [] {
        LanSettingsRecord r{};
        EXPECT_NE(GetLanDataFromRegistry(&r), 1);
        return std::array{r.interval, r.hardware, r.retry, r.abort_};
    };
    EXPECT_EQ(lan(), (std::array{60, 10, 20, 20}));
    const auto service_log = log_beside([] {
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
    });
    EXPECT_EQ(lan(), (std::array{3600, 100, 50, 50}));
    EXPECT_TRUE(service_log.back().starts_with("lan: ")) << service_log.back();
    write_text(state("registry.conf"),
               "[SOFTWARE/QUD/ZELAgent/LAN]\nInterval=sz:5\nHardware=dword:4294967295\nRetry=dword:30\n");
    EXPECT_EQ(lan(), (std::array{60, 10, 30, 20}));
}

TEST_F(Monitor, TheRaidFileIsMadeOnceAndNeverMendedByReading) {
    MylexThresholdBlock block{};
    EXPECT_EQ(Mylex_ReadThresholdFromFile(&block), 0);
    EXPECT_EQ(block.interval, 60);
    EXPECT_EQ(read_text(state("zelmlx.inf")), "[general]\ninterval=60\n");
    const auto service_log = log_beside([] { EXPECT_EQ(ResetMylexService(3600), 0); });
    EXPECT_EQ(service_log, Strings{"raid: interval 60 -> 3600"});
    EXPECT_EQ(Mylex_ReadThresholdFromFile(&block), 0);
    for (const std::string text : {"", "[general]\n", "[general]\ninterval=9\n", "[general]\ninterval=1O\n",
                                   "interval=60\n", "[general", "\xFF\x01"}) {
        write_text(state("zelmlx.inf"), text);
        EXPECT_EQ(Mylex_ReadThresholdFromFile(&block), MYLEX_READ_FAILED) << text;
        EXPECT_EQ(read_text(state("zelmlx.inf")), text);
    }
    EXPECT_EQ(block.interval, 3600);
    fs::remove(state("zelmlx.inf"));
    fs::create_directory(state("zelmlx.inf"));
    EXPECT_EQ(Mylex_ReadThresholdFromFile(&block), MYLEX_NO_FILE);
}

}  // namespace
