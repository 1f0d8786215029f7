// SPDX-License-Identifier: GPL-3.0-or-later
#include "made_up_machine.h"

#include <filesystem>
#include <fstream>

namespace bench {
namespace {

namespace fs = std::filesystem;

std::string make_disks(const AgentService& agent, int disks) {
    const fs::path block = agent.folder() / "block";
    fs::remove_all(block);
    for (int i = 0; i < disks; ++i) {
        const fs::path disk = block / ("disk" + std::to_string(1000 + i));
        fs::create_directories(disk);
        std::ofstream(disk / "size") << "2048000\n";
    }
    return "sys_block=" + block.string() + '\n';
}

std::string make_mounts(const AgentService& agent, int mounts) {
    std::string mountinfo;
    for (int i = 0; i < mounts; ++i) {
        const fs::path at = agent.folder() / "mounts" / std::to_string(1000 + i);
        fs::create_directories(at);
        mountinfo += std::to_string(100 + i) + " 1 8:" + std::to_string(i + 1) + " / " + at.string() +
                     " rw - ext4 /dev/sd" + std::to_string(i) + " rw\n";
    }
    agent.write_file("mountinfo", mountinfo);
    return "mountinfo=" + (agent.folder() / "mountinfo").string() + '\n';
}

}  // namespace

std::string made_up_machine(const AgentService& agent, int disks, int mounts) {
    return "[monitor]\n" + (disks >= 0 ? make_disks(agent, disks) : "") +
           (mounts >= 0 ? make_mounts(agent, mounts) : "");
}

}  // namespace bench
