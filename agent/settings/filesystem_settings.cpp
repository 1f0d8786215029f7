// SPDX-License-Identifier: GPL-3.0-or-later
#include "filesystem_settings.h"

#include <algorithm>
#include <limits>

#include "merge.h"
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
        settings.percent.at(i) =
            reader.number(group, percent_key(i), Range::of(kFsPercent), defaults.percent.at(i));
        settings.space.at(i) = reader.number(group, space_key(i), Range::of(kFsSpace), defaults.space.at(i));
    }
    if (judge(settings, std::nullopt) != 0) {  // whatever the size: it may have changed
        reader.tell(group, "the thresholds in force are not in order, all taken as by default");
        settings.percent = defaults.percent;
        settings.space = defaults.space;
    }
    return settings;
}

/// What a caller would be handed out now. What is missing or damaged counts as not changed since.
FsSettings held_one(const KeyFile& file, const std::string& group, const FsSettings& before) {
    FsSettings held = before;
    const auto mode = std::ranges::find(kFsModeNames, file.get(group, kModeKey).value_or(""));
    if (mode != kFsModeNames.end()) held.mode = FS_MODE_OFF + static_cast<int>(mode - kFsModeNames.begin());
    for (std::size_t i = 0; i < kFsLevelNames.size(); ++i) {
        held.percent.at(i) =
            valid_number(file, group, percent_key(i), Range::of(kFsPercent)).value_or(before.percent.at(i));
        held.space.at(i) =
            valid_number(file, group, space_key(i), Range::of(kFsSpace)).value_or(before.space.at(i));
    }
    if (judge(held, std::nullopt) == 0) return held;
    return {.mode = held.mode, .percent = before.percent, .space = before.space};
}

FsSettings merged_one(const FsSettings& wanted, const FsSettings& before, const FsSettings& held) {
    FsSettings merged{.mode = merge(wanted.mode, before.mode, held.mode), .percent = {}, .space = {}};
    for (std::size_t i = 0; i < kFsLevelNames.size(); ++i) {
        merged.percent.at(i) = merge(wanted.percent.at(i), before.percent.at(i), held.percent.at(i));
        merged.space.at(i) = merge(wanted.space.at(i), before.space.at(i), held.space.at(i));
    }
    return merged;
}

/// @param before  Null where the caller was not handed out the file system.
bool put_one(KeyFile& file, const std::string& group, const FsSettings& wanted, const FsSettings* before) {
    const FsSettings settings = before ? merged_one(wanted, *before, held_one(file, group, *before)) : wanted;
    if (settings != wanted && judge(settings, std::nullopt) != 0) {
        tell_misfit(kFile, group);
        return false;
    }
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
        const auto saved = settings.filesystems.find(mount.path);
        const bool unsaved = saved == settings.filesystems.end();
        list.paths.push_back(mount.path);
        list.known.settings.filesystems.insert_or_assign(
            mount.path, unsaved ? filesystem_defaults(mount.hundredth) : saved->second);
        if (unsaved) list.known.unsaved.insert(mount.path);
    }
    list.known.settings.interval = settings.interval;
    return list;
}

FoundNames mounted() {
    const auto mounts = system::read_mounts();
    if (!mounts) return std::nullopt;
    std::set<std::string> paths;
    for (const auto& mount : *mounts) {
        paths.insert(mount.path);
    }
    return paths;
}

bool save_filesystems(const FilesystemSettings& settings, const std::optional<KnownFilesystems>& before,
                      const FoundNames& found) {
    const KnownFilesystems none;
    const KnownFilesystems& known = before ? *before : none;
    const auto change = [&](KeyFile& file) {
        const auto groups = groups_by_name(file, kFile.naming);
        bool fits = put_number(file, kGeneralGroup, kInterval, settings.interval, known.settings.interval);
        for (const auto& [name, one] : settings.filesystems) {
            const bool unsaved = !groups.contains(name) || known.unsaved.contains(name);
            if (one.mode == FS_MODE_OFF && unsaved) continue;
            const auto was = known.settings.filesystems.find(name);
            fits = fits && put_one(file, group_of(groups, kFile.naming, name), one,
                                   was != known.settings.filesystems.end() ? &was->second : nullptr);
        }
        if (found) remove_forgotten(file, *found);
        return fits && mark_present(file, kFile.naming, found);
    };
    return save_thresholds(kFile, change);
}

}  // namespace zel::settings
