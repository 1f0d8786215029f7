// SPDX-License-Identifier: GPL-3.0-or-later
#include "disks.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "agent_config.h"
#include "store/file_io.h"
#include "store/key_file.h"
#include "zel/access_monitor.h"
#include "zel/tracelog.h"

namespace zel::access {
namespace {

/// The number that one of the kernel's attribute files holds, 0 without such a file.
std::int64_t attribute(const std::string& path) {
    constexpr std::size_t kLongest = 64;
    const auto file = store::open_file(path, O_RDONLY | O_NONBLOCK);
    std::string text;
    if (!file || !store::read_at_most(file.get(), kLongest, text)) return 0;
    return store::parse_int(text.substr(0, text.find('\n'))).value_or(0);
}

/// Loop, memory and mapped devices. The joint device of an NVMe disk with several paths stands among the
/// virtual ones too, but is a disk.
bool is_virtual(const std::string& device) {
    std::array<char, PATH_MAX> target{};
    const ssize_t size = ::readlink(device.c_str(), target.data(), target.size());
    const std::string_view path(target.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    return path.find("/virtual/") != std::string_view::npos &&
           path.find("/virtual/nvme-subsystem/") == std::string_view::npos;
}

bool is_disk(const std::string& device) {
    return !is_virtual(device) && attribute(device + "/size") > 0 && attribute(device + "/hidden") == 0;
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
    auto found = store::names_in(folder);
    if (!found) {
        TraceLog(TRACE_LEVEL_RESOURCE, "disks", __func__, __LINE__, "%s cannot be read: %s.", folder.c_str(),
                 std::strerror(errno));
        return std::nullopt;
    }
    std::vector<std::string> names;
    const std::string prefix = folder + '/';
    for (std::string& name : *found) {
        if (is_disk(prefix + name) && fits(name)) names.push_back(std::move(name));
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
