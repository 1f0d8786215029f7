// SPDX-License-Identifier: GPL-3.0-or-later
#include "named_changes.h"
#include "resources.h"
#include "settings/filesystem_settings.h"

namespace zel::service {
namespace {

std::optional<settings::FilesystemSettings> read_filesystems() {
    settings::FilesystemSettings settings;
    const auto sizes_unknown = [](const system::SavedPaths&) { return settings::FsSizes(); };
    const bool readable = settings::is_readable(settings::read_filesystems(settings, sizes_unknown));
    return readable ? std::optional(std::move(settings)) : std::nullopt;
}

void compare_filesystems(Changes& changes, const std::string& path, const settings::FsSettings& before,
                         const settings::FsSettings& after) {
    note_change(changes, path + " watch", settings::fs_mode_name(before.mode),
                settings::fs_mode_name(after.mode));
    for (std::size_t i = 0; i < before.percent.size(); ++i) {
        const std::string level = path + ' ' + settings::kFsLevelNames.at(i);
        note_change(changes, level + " percent", std::to_string(before.percent.at(i)),
                    std::to_string(after.percent.at(i)));
        note_change(changes, level + " space", std::to_string(before.space.at(i)),
                    std::to_string(after.space.at(i)));
    }
}

Changes filesystem_changes(const settings::FilesystemSettings& before,
                           const settings::FilesystemSettings& after) {
    return interval_and_named_changes(before, after, &settings::FilesystemSettings::filesystems,
                                      compare_filesystems);
}

}  // namespace

Reload filesystem_resource() {
    return reloading(read_filesystems, filesystem_changes);
}

}  // namespace zel::service
