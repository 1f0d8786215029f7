// SPDX-License-Identifier: GPL-3.0-or-later
#include "mounts.h"

#include <sys/statfs.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <string_view>
#include <tuple>

#include "agent_config.h"
#include "mount_library.h"
#include "zel/tracelog.h"

namespace zel::access {
namespace {

struct Free {
    void operator()(libmnt_table* table) const { mount_library()->mnt_unref_table(table); }
    void operator()(libmnt_iter* iterator) const { mount_library()->mnt_free_iter(iterator); }
};

template <std::size_t Size>
bool contains(const std::array<std::string_view, Size>& types, const char* type) {
    return type && std::ranges::find(types, type) != types.end();
}

/// Only what has a device of its own is asked for its capacity, and the few kinds that keep their devices to
/// themselves: whatever else is unknown may be a network file system.
bool is_local(const MountLibrary& library, libmnt_fs* entry) {
    constexpr std::array<std::string_view, 4> kOwnDevices{"btrfs", "zfs", "bcachefs", "ubifs"};
    constexpr std::array<std::string_view, 6> kImages{"squashfs", "iso9660", "udf",
                                                      "erofs",    "cramfs",  "romfs"};
    const char* type = library.mnt_fs_get_fstype(entry);
    if (library.mnt_fs_is_pseudofs(entry) || library.mnt_fs_is_netfs(entry) || contains(kImages, type))
        return false;
    return major(library.mnt_fs_get_devno(entry)) != 0 || contains(kOwnDevices, type);
}

Mount to_mount(const MountLibrary& library, libmnt_fs* entry, const char* path) {
    const char* folder = library.mnt_fs_get_root(entry);
    return {.path = path,
            .device = library.mnt_fs_get_devno(entry),
            .local = is_local(library, entry),
            .whole = folder && std::string_view(folder) == "/"};
}

/// Drops what a later mount at the same path hides.
void drop_hidden(std::vector<Mount>& mounts) {
    std::set<std::string> seen;
    std::vector<Mount> visible;
    std::for_each(mounts.rbegin(), mounts.rend(), [&](Mount& mount) {
        if (seen.insert(mount.path).second) visible.push_back(std::move(mount));
    });
    std::ranges::reverse(visible);
    mounts = std::move(visible);
}

}  // namespace

std::optional<std::vector<Mount>> read_mounts() {
    const std::string file = configured("monitor", "mountinfo", "/proc/self/mountinfo");
    const MountLibrary* library = mount_library();
    if (!library) return std::nullopt;
    const std::unique_ptr<libmnt_table, Free> table(library->mnt_new_table_from_file(file.c_str()));
    const std::unique_ptr<libmnt_iter, Free> position(library->mnt_new_iter(MNT_ITER_FORWARD));
    if (!table || !position) {
        TraceLog(TRACE_LEVEL_RESOURCE, "mounts", __func__, __LINE__, "%s cannot be read: %s.", file.c_str(),
                 std::strerror(errno));
        return std::nullopt;
    }
    std::vector<Mount> mounts;
    libmnt_fs* entry = nullptr;
    while (library->mnt_table_next_fs(table.get(), position.get(), &entry) == 0) {
        const char* path = library->mnt_fs_get_target(entry);
        if (!path || *path != '/' || library->mnt_fs_is_swaparea(entry)) continue;
        if (std::strlen(path) <= kLongestMountPath) mounts.push_back(to_mount(*library, entry, path));
    }
    drop_hidden(mounts);
    return mounts;
}

std::vector<Mount> choose_mounts(const std::vector<Mount>& mounts,
                                 const std::function<bool(const std::string&)>& saved) {
    const auto rank = [&](const Mount& mount) {
        return std::tuple(!saved(mount.path), !mount.whole, mount.path.size(), mount.path);
    };
    std::map<std::uint64_t, const Mount*> best;
    for (const Mount& mount : mounts) {
        if (!mount.local && !saved(mount.path)) continue;
        const Mount*& place = best[mount.device];
        if (!place || rank(mount) < rank(*place)) place = &mount;
    }
    std::vector<Mount> chosen;
    chosen.reserve(best.size());
    for (const auto& [device, mount] : best) {
        chosen.push_back(*mount);
    }
    std::ranges::sort(chosen, {}, &Mount::path);  // "/" comes before every other path
    return chosen;
}

std::optional<std::uint64_t> hundredth_of_capacity(const std::string& path) {
    struct statfs info {};
    if (::statfs(path.c_str(), &info) != 0 || info.f_blocks == 0) return std::nullopt;
    return ((static_cast<std::uint64_t>(info.f_blocks) * static_cast<std::uint64_t>(info.f_bsize)) >> 20U) /
           100;
}

}  // namespace zel::access
