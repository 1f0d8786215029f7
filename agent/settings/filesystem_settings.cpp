// SPDX-License-Identifier: GPL-3.0-or-later
#include "filesystem_settings.h"

#include <algorithm>
#include <limits>

#include "system/mount_probe.h"

namespace zel::settings {
namespace {

using store::KeyFile;

constexpr const ThresholdFile& kFile = kFilesystemFile;
constexpr FsLevels kDefaultPercent{95, 90, 85, 80};
constexpr const char* kModeKey = "mode";

std::string percent_key(std::size_t level) {
    return std::string(kFsLevelNames.at(level)) + ".percent";
}
std::string space_key(std::size_t level) {
    return std::string(kFsLevelNames.at(level)) + ".space";
}

std::int32_t space_for(int percent, std::uint64_t size) {
    // Beyond the field's range alerts come later than asked for, but the spaces still rise.
    constexpr std::uint64_t kLargest = std::numeric_limits<std::int32_t>::max() / 100;
    return (100 - percent) * static_cast<std::int32_t>(std::min(size, kLargest));
}

int judge_percent(const FsLevels& level) {
    const auto [fatal_least, fatal_greatest] = std::minmax(level[0], level[1]);
    int bits = 0;
    if (fatal_least < 0 || fatal_greatest > 100) bits |= FS_TEST_FATAL_BIG;
    if (std::min(level[2], level[3]) < 1) bits |= FS_TEST_WARNING_SMALL;
    if (std::ranges::adjacent_find(level, std::less_equal()) != level.end()) bits |= FS_TEST_ORDER;
    return bits;
}

int judge_space(const FsLevels& level, const FsSize& size) {
    constexpr std::uint64_t kUnbounded = std::numeric_limits<std::int32_t>::max();
    const auto limit = static_cast<std::int64_t>(std::min(size.value_or(kUnbounded), kUnbounded) * 100);
    const auto out = [&](std::int32_t space) { return space < 0 || space > limit; };
    int bits = 0;
    if (out(level[0]) || out(level[1])) bits |= FS_TEST_FATAL_BIG;
    if (out(level[2]) || out(level[3])) bits |= FS_TEST_WARNING_SMALL;
    // On a small file system nothing but 0 is possible.
    const bool small = size ? *size == 0 : level == FsLevels{};
    if (!small && std::ranges::adjacent_find(level, std::greater_equal()) != level.end())
        bits |= FS_TEST_ORDER;
    return bits;
}

FsSettings read_one(ThresholdReader& reader, const std::string& group, const FsSize& size) {
    const FsSettings defaults = filesystem_defaults(size);
    FsSettings settings{.mode = FS_MODE_OFF + static_cast<int>(reader.word(group, kModeKey, kFsModeNames, 0)),
                        .percent = {},
                        .space = {}};
    for (std::size_t i = 0; i < kFsLevelNames.size(); ++i) {
        settings.percent.at(i) = reader.number(group, percent_key(i), kFsPercent, defaults.percent.at(i));
        settings.space.at(i) = reader.number(group, space_key(i), kFsSpace, defaults.space.at(i));
    }
    if (judge(settings, std::nullopt) != 0) {  // whatever the size: it may have changed
        reader.tell(group, "the thresholds in force are not in order, all taken as by default");
        settings.percent = defaults.percent;
        settings.space = defaults.space;
    }
    return settings;
}

bool put_one(KeyFile& file, const std::string& group, const FsSettings& settings) {
    bool fits = file.set(group, kModeKey, fs_mode_name(settings.mode));
    for (std::size_t i = 0; i < kFsLevelNames.size(); ++i) {
        fits = fits && file.set_int(group, percent_key(i), settings.percent.at(i)) &&
               file.set_int(group, space_key(i), settings.space.at(i));
    }
    return fits;
}

/// An invalid mode is somebody's slip of the pen: it may have been meant to watch.
bool is_watched(const KeyFile& file, const std::string& group) {
    return file.get(group, kModeKey).value_or(fs_mode_name(FS_MODE_OFF)) != fs_mode_name(FS_MODE_OFF);
}

/// Drops what is neither watched nor found: containers and removable media come under new paths every day.
void remove_forgotten(KeyFile& file, const std::set<std::string>& found) {
    for (const auto& [name, group] : groups_by_name(file, kFile.naming))
        if (!found.contains(name) && !is_watched(file, group)) file.remove_group(group);
}

/// Of `mounts` those that can be listed: they answer, and unless somebody saved their path have a capacity.
std::vector<system::Mount> ask_candidates(std::vector<system::Mount> mounts,
                                          const system::SavedPaths& saved) {
    std::erase_if(mounts, [&](const auto& mount) { return !system::is_candidate(mount, saved); });
    std::vector<system::Mount> answered = system::ask_mounts(mounts);
    std::erase_if(answered,
                  [&](const auto& mount) { return !mount.hundredth && !saved.contains(mount.path); });
    return answered;
}

}  // namespace

FsSettings filesystem_defaults(const FsSize& size) {
    FsSettings settings{.mode = FS_MODE_OFF, .percent = kDefaultPercent, .space = {}};
    std::ranges::transform(kDefaultPercent, settings.space.begin(),
                           [&](int percent) { return space_for(percent, size.value_or(0)); });
    return settings;
}

int judge(const FsSettings& settings, const FsSize& size) {
    switch (settings.mode) {
        case FS_MODE_OFF:
            return 0;
        case FS_MODE_PERCENT:
            return judge_percent(settings.percent);
        case FS_MODE_SPACE:
            return judge_space(settings.space, size);
        default:
            return FS_TEST_FAILED;
    }
}

store::Status read_filesystems(FilesystemSettings& settings,
                               const std::function<FsSizes(const system::SavedPaths&)>& sizes_of) {
    KeyFile file;
    const store::Status status = load_thresholds(kFile, file);
    if (status == store::Status::failed) return status;
    const auto groups = groups_by_name(file, kFile.naming);
    system::SavedPaths saved;
    for (const auto& [name, group] : groups)
        saved.emplace_hint(saved.end(), name, is_watched(file, group));
    const FsSizes sizes = sizes_of(saved);
    ThresholdReader reader(file, kFile);
    settings = {.interval = reader.interval(), .filesystems = {}};
    for (const auto& [name, group] : groups) {
        const auto size = sizes.find(name);
        settings.filesystems[name] = read_one(reader, group, size != sizes.end() ? size->second : FsSize());
    }
    return status;
}

FsSizes sizes_of(const std::vector<system::Mount>& mounts) {
    FsSizes sizes;
    for (const auto& mount : mounts)
        sizes.insert_or_assign(mount.path, mount.hundredth);
    return sizes;
}

std::optional<FilesystemList> list_filesystems() {
    const auto mounts = system::read_mounts();
    if (!mounts) return std::nullopt;
    FilesystemList list;
    std::vector<system::Mount> chosen;
    const auto ask = [&](const system::SavedPaths& saved) {
        const auto answered = ask_candidates(*mounts, saved);
        chosen = system::choose_mounts(answered, saved);
        return list.sizes = sizes_of(answered);
    };
    FilesystemSettings settings;
    if (read_filesystems(settings, ask) == store::Status::failed) return std::nullopt;
    for (const auto& mount : chosen) {
        const auto known = settings.filesystems.find(mount.path);
        list.filesystems.emplace_back(mount.path, known != settings.filesystems.end()
                                                      ? known->second
                                                      : filesystem_defaults(mount.hundredth));
    }
    list.interval = settings.interval;
    return list;
}

/// Wherever something is mounted now.
FoundNames mounted() {
    const auto mounts = system::read_mounts();
    if (!mounts) return std::nullopt;
    std::set<std::string> paths;
    for (const auto& mount : *mounts) {
        paths.insert(mount.path);
    }
    return paths;
}

bool save_filesystems(const FilesystemSettings& settings, const FoundNames& found) {
    const auto change = [&](KeyFile& file) {
        const auto groups = groups_by_name(file, kFile.naming);
        bool fits = file.set_int(kGeneralGroup, kInterval.name, settings.interval);
        for (const auto& [name, one] : settings.filesystems) {
            if (one.mode == FS_MODE_OFF && !groups.contains(name)) continue;
            fits = fits && put_one(file, group_of(groups, kFile.naming, name), one);
        }
        if (found) remove_forgotten(file, *found);
        return fits && mark_present(file, kFile.naming, found);
    };
    return save_thresholds(kFile, change);
}

}  // namespace zel::settings
