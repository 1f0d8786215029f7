// SPDX-License-Identifier: GPL-3.0-or-later
// A made-up machine with disks and mounts, for the tests of the monitored resources, and callers of the
// calls.
#pragma once

#include <array>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>

#include "foundation.h"
#include "zel/access_monitor.h"

namespace zel::test {

namespace fs = std::filesystem;
using Strings = std::vector<std::string>;

/// Runs `body` beside the service, which starts from the settings as they are; what the service logged.
inline Strings log_beside(const std::function<void()>& body) {
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe(ends.data()), 0);
    const pid_t service = start_process([&] {
        dup2(ends[1], STDERR_FILENO);
        execl(ZEL_SERVICE, "ZELntserver", "--foreground", nullptr);
        return 1;
    });
    close(ends[1]);
    const std::unique_ptr<FILE, int (*)(FILE*)> log(fdopen(ends[0], "r"), fclose);
    Strings lines;
    std::array<char, 16384> line{};
    const auto read_line = [&] { return fgets(line.data(), line.size(), log.get()) != nullptr; };
    while (read_line() && !strstr(line.data(), " is ready\n"))
        continue;
    body();
    // Whatever was asked before this is done when it is answered.
    for (int tries = 0; tries < 30 && CheckNTserverReady() != 0; ++tries)
        continue;
    kill(service, SIGTERM);
    while (read_line())
        lines.emplace_back(line.data(), strcspn(line.data(), "\n"));
    EXPECT_EQ(finish_process(service), 0);
    std::erase(lines, "ZELntserver ends");
    return lines;
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
        std::string text = std::to_string(interval) + " s\n";
        for (int row = 0; row < count; ++row) {
            text += names[row];
            for (const auto& item : values[row])
                text +=
                    ' ' + std::to_string(item.fatal) + '/' + std::to_string(item.warning) + "?+-"[item.state];
            text += '\n';
        }
        return text;
    }
};

/// A valid record: 74 to 71 percent, 10 to 13 MiB.
inline FsThresholdRecord record(const std::string& path, int mode = FS_MODE_PERCENT) {
    FsThresholdRecord result{{}, {}, 10, 11, 74, 73, mode, 12, 13, 72, 71, 0, nullptr};
    path.copy(result.path, FS_PATH_SIZE - 1);
    return result;
}

inline int save(std::vector<FsThresholdRecord> records, int cycle = 30) {
    for (std::size_t i = 1; i < records.size(); ++i)
        records[i - 1].next = &records[i];
    return ResetFilesysService(records.data(), cycle);
}

/// What the library lists: interval, then path, mode, percentages and spaces; "" when it fails.
inline std::string filesystems() {
    auto* head = static_cast<FsThresholdRecord*>(calloc(1, sizeof(FsThresholdRecord)));
    int cycle = -1;
    std::string text;
    if (File_ReadThresholdFromFile(head, &cycle) == 1) text = std::to_string(cycle) + " s\n";
    for (const auto* one = head; one && cycle > 0; one = one->next) {
        text += one->path + std::string(1, ' ') + "??o%s"[one->mode];
        for (const int level : {one->fatalReportPercent, one->fatalResetPercent, one->warningReportPercent,
                                one->warningResetPercent, one->fatalReportSpace, one->fatalResetSpace,
                                one->warningReportSpace, one->warningResetSpace})
            text += ' ' + std::to_string(level);
        text += '\n';
    }
    EXPECT_EQ(FreeMemofStruct(&head), 1);
    EXPECT_EQ(FreeMemofStruct(&head), 1);
    return text;
}

class Monitor : public ::testing::Test {
  protected:
    void SetUp() override {
        if (folder_.empty()) {
            folder_ = fs::temp_directory_path() / "zel-monitor-XXXXXX";
            ASSERT_NE(mkdtemp(folder_.data()), nullptr);
            setenv("ZelDir", folder_.c_str(), 1);
        }
        fs::create_directories(state(""));
        fs::create_directories(folder_ + "/sys/block");
        write_text(folder_ + "/agent.conf",
                   "[monitor]\nsys_block=" + folder_ + "/sys/block\nmountinfo=" + folder_ + "/mountinfo\n");
        mount({"8:1 / / ext4"});
    }
    void TearDown() override {
        for (const auto& entry : fs::directory_iterator(folder_))
            fs::remove_all(entry);
    }
    static void TearDownTestSuite() { fs::remove_all(folder_); }

    static std::string state(const std::string& name) { return folder_ + "/state/" + name; }

    static void add_disk(const std::string& name, const std::string& below = "pci0/block",
                         const std::string& sectors = "8", bool hidden = false) {
        const std::string device = "/sys/devices/" + below + '/' + name;
        fs::create_directories(folder_ + device);
        write_text(folder_ + device + "/size", sectors + "\n");
        if (hidden) write_text(folder_ + device + "/hidden", "1\n");
        fs::create_symlink("../devices/" + below + '/' + name, folder_ + "/sys/block/" + name);
    }
    static void remove_disk(const std::string& name) { fs::remove(folder_ + "/sys/block/" + name); }

    /// Mounts made up as "<major:minor> <folder> <path> <type>".
    static void mount(const Strings& mounts) {
        std::string text;
        for (const std::string& line : mounts) {
            const std::size_t type = line.rfind(' ');
            text += "1 1 " + line.substr(0, type) + " rw -" + line.substr(type) + " source rw\n";
        }
        write_text(folder_ + "/mountinfo", text);
    }

    static inline std::string folder_;
};

}  // namespace zel::test
