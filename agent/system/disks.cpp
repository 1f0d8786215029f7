// SPDX-License-Identifier: GPL-3.0-or-later
#include "disks.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>
#include <set>
#include <string_view>
#include <utility>

#include "attribute.h"
#include "base/file_io.h"
#include "store/agent_config.h"
#include "store/key_file.h"
#include "zel/access_monitor.h"
#include "zel/trace.h"

namespace zel::system {
namespace {

constexpr const char* kModule = "disks";

/// A block device: its name, and where the kernel keeps its attributes.
struct Device {
    std::string name;
    std::string folder;  ///< As the kernel lists it.
    std::string place;   ///< Where that leads among the buses, "../devices/pci.../block/sda".
    std::string size;    ///< In sectors, once it was asked for.
};

Device device_of(const std::string& block, std::string name) {
    std::string folder = block + '/' + name;
    std::array<char, PATH_MAX> target{};
    const ssize_t size = ::readlink(folder.c_str(), target.data(), target.size());
    return {.name = std::move(name),
            .folder = std::move(folder),
            .place = std::string(target.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0))),
            .size = {}};
}

/// Loop, memory and mapped devices. Disks behind a network of storage, and the joint device of an NVMe disk
/// with several paths, stand among the virtual ones too.
bool is_virtual(const Device& device) {
    const auto lies_in = [&](std::string_view part) { return device.place.find(part) != std::string::npos; };
    return lies_in("/virtual/") && !lies_in("/virtual/nvme-subsystem/") && !lies_in("/virtual/nvme-fabrics/");
}

bool is_number(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

/// Floppies, optical drives and the parts of an eMMC beside its main one, by the names that the kernel gives
/// them. The size of an empty drive says nothing.
bool is_other_kind(std::string_view name) {
    constexpr std::string_view kCard = "mmcblk";
    if (name.starts_with(kCard)) return !is_number(name.substr(kCard.size()));
    return (name.starts_with("fd") || name.starts_with("sr")) && is_number(name.substr(2));
}

/// Has a medium, and is no single path of a device that stands for all of them. Takes down the size.
bool is_usable(Device& device) {
    device.size = attribute(device.folder + "/size").value_or("");
    return store::parse_int(device.size).value_or(0) > 0 && attribute(device.folder + "/hidden") != "1";
}

bool is_disk(Device& device) {
    return !is_other_kind(device.name) && !is_virtual(device) && is_usable(device);
}

/// What all paths to one disk have in common, its world-wide identity and size; empty for a disk that has no
/// identity, or one of zeros alone.
std::string identity_of(const Device& device) {
    const bool nvme = device.name.starts_with("nvme");
    const std::string name = attribute(device.folder + (nvme ? "/wwid" : "/device/wwid")).value_or("");
    const std::string_view number = std::string_view(name).substr(name.find('.') + 1);
    if (number.find_first_not_of("0- ") == std::string_view::npos) return {};
    return name + ' ' + device.size;
}

bool fits(const std::string& name) {
    if (name.size() < STORAGE_NAME_SIZE) return true;
    ZEL_TRACE(TRACE_LEVEL_ERROR, "The name of the device %s is too long, left out.", name.c_str());
    return false;
}

/// All of them, without further paths to one that is among them.
std::vector<Disk> without_further_paths(std::vector<Device> devices) {
    std::set<std::string> known;
    std::vector<Disk> disks;
    disks.reserve(devices.size());
    for (Device& device : devices) {
        std::string identity = identity_of(device);
        if (identity.empty())
            identity = device.name;
        else if (!known.insert(identity).second)
            continue;
        disks.push_back({std::move(device.name), std::move(identity), std::move(device.place)});
    }
    return disks;
}

}  // namespace

std::optional<std::vector<Disk>> find_disks() {
    const std::string folder = store::configured("monitor", "sys_block", "/sys/block");
    const auto found = base::names_in(folder);
    if (!found) {
        ZEL_TRACE(TRACE_LEVEL_RESOURCE, "%s cannot be read: %s.", folder.c_str(), std::strerror(errno));
        return std::nullopt;
    }
    std::vector<Device> devices;
    for (const std::string& name : *found) {
        Device device = device_of(folder, name);
        if (is_disk(device) && fits(name)) devices.push_back(std::move(device));
    }
    std::ranges::sort(devices, [](const Device& a, const Device& b) {
        return ::strverscmp(a.name.c_str(), b.name.c_str()) < 0;
    });
    std::vector<Disk> disks = without_further_paths(std::move(devices));
    if (disks.size() > STORAGE_DEVICES_MAX) {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "%zu devices, only the first %d are watched.", disks.size(),
                  STORAGE_DEVICES_MAX);
        disks.resize(STORAGE_DEVICES_MAX);
    }
    return disks;
}

std::optional<std::vector<std::string>> list_disks() {
    auto disks = find_disks();
    if (!disks) return std::nullopt;
    std::vector<std::string> names;
    names.reserve(disks->size());
    for (Disk& disk : *disks)
        names.push_back(std::move(disk.name));
    return names;
}

}  // namespace zel::system
