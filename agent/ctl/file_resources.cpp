// SPDX-License-Identifier: GPL-3.0-or-later
// The resources with a file of their own: storage, file systems, RAID.
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "resource.h"
#include "settings/raid_settings.h"
#include "system/disks.h"

namespace zel::ctl {
namespace {

using settings::ThresholdFile;

constexpr std::array kStorageKindMeanings{"recoverable errors", "non-recoverable errors", "medium errors",
                                          "hardware errors"};
/// In the order of settings::FsLevels.
constexpr std::array kLevelMeanings{"the fatal alert is raised", "it falls to a warning",
                                    "the warning is raised", "it ends"};

/// Tells why a file cannot be read or written.
Exit failed(const ThresholdFile& file, Problems& problems) {
    problems.push_back({"", file.path() + ": " + std::strerror(errno)});
    return Exit::failed;
}

void list_interval(Contents& contents, const char* resource, const settings::Value& value,
                   int Values::*member) {
    contents.settings.push_back(number_setting(
        {resource, "", value.words}, kind_of(value),
        value.fallback, [member](auto& values) -> auto& { return values.*member; }));
}

/// The settings of one kind of errors of all disks have these in common.
struct StorageKinds {
    std::shared_ptr<const Kind> enable;
    std::shared_ptr<const Kind> fatal;
    std::shared_ptr<const Kind> warning;
};

StorageKinds storage_kinds(std::size_t kind) {
    const std::string errors = kStorageKindMeanings.at(kind);
    constexpr auto kEnable = settings::flag("", "", true, "");
    return {.enable = kind_of(kEnable, "whether " + errors + " are watched"),
            .fatal = kind_of(settings::kStorageThreshold, errors + " at which the fatal alert is raised"),
            .warning = kind_of(settings::kStorageThreshold, errors + " at which the warning is raised")};
}

void list_storage_item(Contents& contents, std::size_t disk, const std::string& object, std::size_t kind,
                       const StorageKinds& kinds) {
    const auto item = [ disk, kind ](auto& values) -> auto& {
        return values.disks[disk][kind];
    };
    const settings::StorageErrorKind& errors = settings::kStorageKinds.at(kind);
    const auto path = [&](const char* name) {
        return Path{"storage", object, std::string(errors.name) + '.' + name};
    };
    contents.settings.push_back(
        {.path = path("enable"),
         .kind = kinds.enable,
         .fallback = true,
         .get = [item](const Values& values) { return item(values).state == STORAGE_STATE_ON; },
         .put =
             [item](Values& values, const Scalar& value) {
                 item(values).state = std::get<bool>(value) ? STORAGE_STATE_ON : STORAGE_STATE_OFF;
             }});
    contents.settings.push_back(number_setting(
        path("fatal"), kinds.fatal,
        errors.fatal, [item](auto& values) -> auto& { return item(values).fatal; }));
    contents.settings.push_back(number_setting(
        path("warning"), kinds.warning,
        errors.warning, [item](auto& values) -> auto& { return item(values).warning; }));
}

/// Likewise for all file systems.
struct FsKinds {
    std::shared_ptr<const Kind> mode;
    std::array<std::shared_ptr<const Kind>, 4> percent;
    std::array<std::shared_ptr<const Kind>, 4> space;
};

FsKinds fs_kinds() {
    FsKinds kinds{.mode = std::make_shared<Kind>(
                      Kind{.type = Kind::Type::word,
                           .words = {settings::kFsModeNames.begin(), settings::kFsModeNames.end()},
                           .meaning = "what it is watched by: nothing, percent in use or free space"}),
                  .percent = {},
                  .space = {}};
    for (std::size_t level = 0; level < kLevelMeanings.size(); ++level) {
        const std::string meaning = std::string(" at which ") + kLevelMeanings.at(level);
        kinds.percent.at(level) = kind_of(settings::kFsPercent, "use" + meaning);
        kinds.space.at(level) = kind_of(settings::kFsSpace, "free space" + meaning);
    }
    return kinds;
}

void list_filesystem_settings(Contents& contents, std::size_t row, const FsKinds& kinds) {
    const auto one = [row](auto& values) -> auto& {
        return values.filesystems[row];
    };
    const std::string& name = contents.filesystems[row];
    const std::string object = settings::escape_name(name);
    const auto size = contents.sizes.find(name);
    const auto defaults =
        settings::filesystem_defaults(size != contents.sizes.end() ? size->second : settings::FsSize());
    contents.settings.push_back(word_setting(
        {"filesystem", object, "mode"}, kinds.mode, "off",
        FS_MODE_OFF, [one](auto& values) -> auto& { return one(values).mode; }));
    for (std::size_t level = 0; level < settings::kFsLevelNames.size(); ++level) {
        const std::string at = std::string(settings::kFsLevelNames.at(level)) + '.';
        contents.settings.push_back(number_setting(
            {"filesystem", object, at + settings::kFsPercent.words}, kinds.percent.at(level),
            defaults.percent.at(level),
            [ one, level ](auto& values) -> auto& { return one(values).percent[level]; }));
        contents.settings.push_back(number_setting(
            {"filesystem", object, at + settings::kFsSpace.words}, kinds.space.at(level),
            defaults.space.at(level),
            [ one, level ](auto& values) -> auto& { return one(values).space[level]; }));
    }
}

void judge_one(const std::string& path, const settings::FsSettings& one, const settings::FsSize& size,
               Problems& problems) {
    const bool by_space = one.mode == FS_MODE_SPACE;
    const int faults = settings::judge(one, size);
    if ((faults & FS_TEST_FATAL_BIG) != 0)
        problems.push_back(
            {path + ".fatal", by_space ? "is beyond the file system's size" : "is above 100 percent"});
    if ((faults & FS_TEST_WARNING_SMALL) != 0)
        problems.push_back(
            {path + ".warning", by_space ? "is beyond the file system's size" : "is below 1 percent"});
    if ((faults & FS_TEST_ORDER) != 0)
        problems.push_back(
            {path, std::string("must ") + (by_space ? "rise" : "fall") +
                       " from fatal.report over fatal.reset and warning.report to warning.reset"});
}

}  // namespace

Exit read_storage(Contents& contents, Problems& problems) {
    const auto disks = system::list_disks();
    settings::StorageSettings kept{.interval = static_cast<int>(settings::kInterval.fallback), .devices = {}};
    if (!contents.defaults && settings::read_storage(kept) == store::Status::failed)
        return failed(settings::kStorageFile, problems);
    contents.disks = disks.value_or(std::vector<std::string>());
    contents.values.storage_interval = kept.interval;
    for (const std::string& disk : contents.disks) {
        const auto found = kept.devices.find(disk);
        contents.values.disks.push_back(found != kept.devices.end() ? found->second
                                                                    : settings::storage_defaults());
    }
    return Exit::done;
}

void list_storage(Contents& contents) {
    list_interval(contents, "storage", settings::kInterval, &Values::storage_interval);
    std::array<StorageKinds, STORAGE_ERROR_KINDS> kinds;
    for (std::size_t kind = 0; kind < kinds.size(); ++kind)
        kinds.at(kind) = storage_kinds(kind);
    for (std::size_t disk = 0; disk < contents.disks.size(); ++disk) {
        const std::string object = settings::escape_name(contents.disks[disk]);
        for (std::size_t kind = 0; kind < kinds.size(); ++kind)
            list_storage_item(contents, disk, object, kind, kinds.at(kind));
    }
}

void judge_storage(const Contents& contents, const Values& wanted, Problems& problems) {
    for (std::size_t disk = 0; disk < wanted.disks.size(); ++disk) {
        for (std::size_t kind = 0; kind < settings::kStorageKinds.size(); ++kind) {
            const StorageThresholdItem& item = wanted.disks[disk].at(kind);
            if (item == contents.values.disks[disk].at(kind) || settings::is_valid(item)) continue;
            const Path path{"storage", settings::escape_name(contents.disks[disk]),
                            settings::kStorageKinds.at(kind).name};
            problems.push_back({text_of(path), "fatal must be greater than warning"});
        }
    }
}

Exit write_storage(Contents& contents, const Values& wanted, Problems& failure) {
    settings::StorageSettings settings{.interval = wanted.storage_interval, .devices = {}};
    for (std::size_t disk = 0; disk < wanted.disks.size(); ++disk)
        if (wanted.disks[disk] != contents.values.disks[disk])
            settings.devices[contents.disks[disk]] = wanted.disks[disk];
    const settings::FoundNames found(std::in_place, contents.disks.begin(), contents.disks.end());
    return settings::save_storage(settings, std::nullopt, found) ? Exit::done
                                                                 : failed(settings::kStorageFile, failure);
}

Exit read_filesystems(Contents& contents, Problems& problems) {
    auto list = settings::list_filesystems();
    if (!list) return failed(settings::kFilesystemFile, problems);
    contents.sizes = std::move(list->sizes);
    contents.values.filesystem_interval = list->known.settings.interval;
    for (const std::string& path : list->paths)
        contents.values.filesystems.push_back(list->of(path));
    contents.filesystems = std::move(list->paths);
    return Exit::done;
}

void list_filesystem(Contents& contents) {
    list_interval(contents, "filesystem", settings::kInterval, &Values::filesystem_interval);
    const FsKinds kinds = fs_kinds();
    for (std::size_t row = 0; row < contents.filesystems.size(); ++row)
        list_filesystem_settings(contents, row, kinds);
}

void judge_filesystem(const Contents& contents, const Values& wanted, Problems& problems) {
    for (std::size_t row = 0; row < wanted.filesystems.size(); ++row) {
        if (wanted.filesystems[row] == contents.values.filesystems[row]) continue;
        const std::string& name = contents.filesystems[row];
        const auto size = contents.sizes.find(name);
        judge_one(text_of({"filesystem", settings::escape_name(name)}), wanted.filesystems[row],
                  size != contents.sizes.end() ? size->second : settings::FsSize(), problems);
    }
}

Exit write_filesystems(Contents& contents, const Values& wanted, Problems& failure) {
    settings::FilesystemSettings settings{.interval = wanted.filesystem_interval, .filesystems = {}};
    for (std::size_t row = 0; row < wanted.filesystems.size(); ++row)
        if (wanted.filesystems[row] != contents.values.filesystems[row])
            settings.filesystems[contents.filesystems[row]] = wanted.filesystems[row];
    return settings::save_filesystems(settings, std::nullopt, settings::mounted())
               ? Exit::done
               : failed(settings::kFilesystemFile, failure);
}

Exit read_raid(Contents& contents, Problems& problems) {
    int& interval = contents.values.raid_interval = static_cast<int>(settings::kRaidInterval.fallback);
    if (!contents.defaults && settings::read_raid(interval) == store::Status::failed)
        return failed(settings::kRaidFile, problems);
    return Exit::done;
}

void list_raid(Contents& contents) {
    list_interval(contents, "raid", settings::kRaidInterval, &Values::raid_interval);
}

Exit write_raid(Contents& /*contents*/, const Values& wanted, Problems& failure) {
    return settings::save_raid(wanted.raid_interval) ? Exit::done : failed(settings::kRaidFile, failure);
}

}  // namespace zel::ctl
