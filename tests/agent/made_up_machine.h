// SPDX-License-Identifier: GPL-3.0-or-later
// A machine made up of files, and the settings of what is monitored on it.
#pragma once

#include <functional>

#include "service_process.h"
#include "zel/access_monitor.h"

namespace zel::test {

class Monitor : public ::testing::Test {
  protected:
    void SetUp() override {
        fs::create_directories(home("sys/block"));
        write_text(home("agent.conf"), "[monitor]\nsys_block=" + home("sys/block") + "\nmountinfo=" +
                                           home("mountinfo") + "\ncpu_present=" + home("present") + '\n');
        mount({"1 0 8:1 / / ext4"});
    }
    struct Disk {
        std::string name;
        std::string below = "pci0/block";
        std::string size = "8";
        std::string wwid = "";
        std::string hidden = "0";
    };
    static void add_disk(const Disk& disk) {
        const std::string device = "devices/" + disk.below + '/' + disk.name;
        fs::create_directories(home("sys/" + device + "/device"));
        const std::string wwid = disk.name.starts_with("nvme") ? "/wwid" : "/device/wwid";
        for (const auto& [attribute, value] :
             {std::pair("/size", &disk.size), {"/hidden", &disk.hidden}, {wwid.c_str(), &disk.wwid}})
            write_text(home("sys/" + device + attribute), *value + '\n');
        fs::create_symlink("../" + device, home("sys/block/" + disk.name));
    }
    /// Mounts made up as "<id> <parent's id> <major:minor> <folder> <path> <type>", "@" being the home.
    static void mount(const Strings& mounts) {
        std::ofstream file(home("mountinfo"));
        for (const std::string& line : mounts)
            file << at_home(line.substr(0, line.rfind(' '))) << " rw - " << line.substr(line.rfind(' '))
                 << " x rw\n";
    }
    static std::string at_home(std::string text) {
        for (std::size_t at = 0; (at = text.find('@')) != std::string::npos;)
            text.replace(at, 1, home(""));
        return text;
    }
};

/// Runs `body` beside the service, which starts from the settings as they are; what the service then said.
inline std::string log_beside(const std::function<void()>& body) {
    ServiceProcess service;
    EXPECT_TRUE(service.ready());
    const std::size_t before = service.said().size();
    body();
    EXPECT_EQ(CheckNTserverReady(), 0);  // whatever was asked before this is done when it is answered
    kill(service.id(), SIGTERM);
    EXPECT_TRUE(service.says("ZELntserver ends\n"));
    return service.said().substr(before);
}

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

}  // namespace zel::test
