// SPDX-License-Identifier: GPL-3.0-or-later
#include "disks.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>

#include "agent_config.h"
#include "zel/access_monitor.h"
#include "zel/tracelog.h"

namespace zel::access {
namespace {

namespace fs = std::filesystem;

/// The number that one of the kernel's attribute files holds, 0 without such a file.
std::uint64_t attribute(const fs::path& file) {
    std::uint64_t number = 0;
    std::ifstream(file) >> number;
    return number;
}

/// Loop, memory and mapped devices. The joint device of an NVMe disk with several paths stands among the
/// virtual ones too, but is a disk.
bool is_virtual(const fs::path& device) {
    std::error_code error;
    const std::string target = fs::read_symlink(device, error).string();
    return target.find("/virtual/") != std::string::npos &&
           target.find("/virtual/nvme-subsystem/") == std::string::npos;
}

bool is_disk(const fs::path& device) {
    return !is_virtual(device) && attribute(device / "size") > 0 && attribute(device / "hidden") == 0;
}

bool fits(const std::string& name) {
    if (name.size() < STORAGE_NAME_SIZE) return true;
    TraceLog(TRACE_LEVEL_ERROR, "disks", __func__, __LINE__,
             "The name of the device %s is too long, left out.", name.c_str());
    return false;
}

}  // namespace

std::optional<std::vector<std::string>> list_disks() {
    const std::string folder = configured("monitor", "sys_block", "/sys/block");
    std::error_code error;
    std::vector<std::string> names;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
        std::string name = entry->path().filename().string();
        if (is_disk(entry->path()) && fits(name)) names.push_back(std::move(name));
    }
    if (error) {
        TraceLog(TRACE_LEVEL_RESOURCE, "disks", __func__, __LINE__, "%s cannot be read: %s.", folder.c_str(),
                 error.message().c_str());
        return std::nullopt;
    }
    std::ranges::sort(names, [](const std::string& a, const std::string& b) {
        return ::strverscmp(a.c_str(), b.c_str()) < 0;
    });
    if (names.size() > STORAGE_DEVICES_MAX) {
        TraceLog(TRACE_LEVEL_ERROR, "disks", __func__, __LINE__,
                 "%zu devices, only the first %d are watched.", names.size(), STORAGE_DEVICES_MAX);
        names.resize(STORAGE_DEVICES_MAX);
    }
    return names;
}

}  // namespace zel::access
