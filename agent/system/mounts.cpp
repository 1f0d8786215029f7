// SPDX-License-Identifier: GPL-3.0-or-later
#include "mounts.h"

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
#include <unordered_map>

#include "mount_library.h"
#include "store/agent_config.h"
#include "zel/trace.h"

namespace zel::system {
namespace {

constexpr const char* kModule = "mounts";

struct Free {
    void operator()(libmnt_table* table) const { mount_library()->mnt_unref_table(table); }
    void operator()(libmnt_iter* iterator) const { mount_library()->mnt_free_iter(iterator); }
};

template <std::size_t Size>
bool contains(const std::array<std::string_view, Size>& types, const char* type) {
    return type && std::ranges::find(types, type) != types.end();
}

constexpr std::array<std::string_view, 4> kPools{"btrfs", "zfs", "bcachefs", "ubifs"};

/// Only what has a device of its own is asked for its capacity, and the few kinds that keep their devices to
/// themselves: whatever else is unknown may be a network file system.
bool has_own_storage(const MountLibrary& library, libmnt_fs* entry) {
    constexpr std::array<std::string_view, 6> kImages{"squashfs", "iso9660", "udf",
                                                      "erofs",    "cramfs",  "romfs"};
    const char* type = library.mnt_fs_get_fstype(entry);
    if (library.mnt_fs_is_pseudofs(entry) || library.mnt_fs_is_netfs(entry) || contains(kImages, type))
        return false;
    return major(library.mnt_fs_get_devno(entry)) != 0 || contains(kPools, type);
}

/// A line of the list: the mount, and where it hangs in the tree of mounts.
struct Listed {
    Mount mount;
    int id = 0;
    int parent = 0;
};

Listed to_listed(const MountLibrary& library, libmnt_fs* entry, const std::string& path) {
    const char* folder = library.mnt_fs_get_root(entry);
    const bool whole =
        (folder && std::string_view(folder) == "/") || contains(kPools, library.mnt_fs_get_fstype(entry));
    return {.mount = {.path = path,
                      .device = library.mnt_fs_get_devno(entry),
                      .local = path == "/" || has_own_storage(library, entry),
                      .whole = whole},
            .id = library.mnt_fs_get_id(entry),
            .parent = library.mnt_fs_get_parent_id(entry)};
}

/// Finds which mounts are covered by another one, at their own path or above it.
class Covers {
  public:
    explicit Covers(const std::vector<Listed>& listed) : listed_(listed) {
        for (std::size_t at = 0; at < listed.size(); ++at) {
            by_id_.insert_or_assign(listed[at].id, at);
            last_at_.insert_or_assign(listed[at].mount.path, at);
        }
        for (const Listed& one : listed) {
            const auto below = parent_of(one);
            if (below && listed[*below].mount.path == one.mount.path) built_upon_.insert(*below);
        }
    }

    [[nodiscard]] bool cover(std::size_t at) const {
        std::string_view path = listed_[at].mount.path;
        if (built_upon_.contains(at) || is_over(path, at)) return true;
        while (path.size() > 1) {
            path = path.substr(0, std::max<std::size_t>(path.rfind('/'), 1));
            if (is_over(path, at)) return true;
        }
        return false;
    }

  private:
    [[nodiscard]] std::optional<std::size_t> parent_of(const Listed& one) const {
        const auto parent = by_id_.find(one.parent);
        return parent != by_id_.end() && one.parent != one.id ? std::optional(parent->second) : std::nullopt;
    }

    /// True when the last mount at `path` came later than the mount `at` does, which does not hang below it.
    /// The order alone is not enough: what a boot moves into its new root is listed before it.
    [[nodiscard]] bool is_over(std::string_view path, std::size_t at) const {
        const auto last = last_at_.find(path);
        if (last == last_at_.end() || last->second <= at) return false;
        std::size_t steps = 0;  // a damaged list may go round in circles
        auto above = parent_of(listed_[at]);
        while (above && *above != last->second && ++steps < listed_.size())
            above = parent_of(listed_[*above]);
        return above != last->second;
    }

    const std::vector<Listed>& listed_;
    std::unordered_map<int, std::size_t> by_id_;
    std::unordered_map<std::string_view, std::size_t> last_at_;
    std::set<std::size_t> built_upon_;
};

std::vector<Mount> without_covered(const std::vector<Listed>& listed) {
    const Covers covers(listed);
    std::vector<Mount> visible;
    visible.reserve(listed.size());
    for (std::size_t at = 0; at < listed.size(); ++at)
        if (!covers.cover(at)) visible.push_back(listed[at].mount);
    return visible;
}

}  // namespace

std::optional<std::vector<Mount>> read_mounts() {
    const std::string file = store::configured("monitor", "mountinfo", "/proc/self/mountinfo");
    const MountLibrary* library = mount_library();
    if (!library) return std::nullopt;
    const std::unique_ptr<libmnt_table, Free> table(library->mnt_new_table_from_file(file.c_str()));
    const std::unique_ptr<libmnt_iter, Free> position(library->mnt_new_iter(MNT_ITER_FORWARD));
    if (!table || !position) {
        ZEL_TRACE(TRACE_LEVEL_RESOURCE, "%s cannot be read: %s.", file.c_str(), std::strerror(errno));
        return std::nullopt;
    }
    std::vector<Listed> listed;
    libmnt_fs* entry = nullptr;
    while (library->mnt_table_next_fs(table.get(), position.get(), &entry) == 0) {
        const char* path = library->mnt_fs_get_target(entry);
        if (!path || *path != '/' || library->mnt_fs_is_swaparea(entry)) continue;
        if (std::strlen(path) <= kLongestMountPath) listed.push_back(to_listed(*library, entry, path));
    }
    return without_covered(listed);
}

bool is_candidate(const Mount& mount, const SavedPaths& saved) {
    return mount.local || saved.contains(mount.path);
}

std::vector<Mount> choose_mounts(const std::vector<Mount>& mounts, const SavedPaths& saved) {
    const auto rank = [&](const Mount& mount) {
        return std::tuple(mount.path != "/", !saved.contains(mount.path), !mount.whole, mount.path.size(),
                          mount.path);
    };
    std::map<std::uint64_t, const Mount*> best;
    for (const Mount& mount : mounts) {
        if (!is_candidate(mount, saved)) continue;
        const Mount*& place = best[mount.device];
        if (!place || rank(mount) < rank(*place)) place = &mount;
    }
    std::vector<Mount> chosen;
    chosen.reserve(best.size());
    for (const Mount& mount : mounts) {
        const auto known = saved.find(mount.path);
        const bool watched = known != saved.end() && known->second;
        const auto representing = best.find(mount.device);
        if (watched || (representing != best.end() && representing->second == &mount))
            chosen.push_back(mount);
    }
    std::ranges::sort(chosen, {}, &Mount::path);  // "/" comes before every other path
    return chosen;
}

}  // namespace zel::system
