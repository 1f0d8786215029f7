// SPDX-License-Identifier: GPL-3.0-or-later
#include "access/filesystem_settings.h"
#include "named_changes.h"
#include "resources.h"

namespace zel::service {
namespace {

std::optional<access::FilesystemSettings> read_filesystems() {
    access::FilesystemSettings settings;
    const auto sizes_unknown = [](const access::SavedPaths&) { return access::FsSizes(); };
    const bool readable = access::is_readable(access::read_filesystems(settings, sizes_unknown));
    return readable ? std::optional(std::move(settings)) : std::nullopt;
}

void compare_filesystems(Changes& changes, const std::string& path, const access::FsSettings& before,
                         const access::FsSettings& after) {
    note_change(changes, path + " watch", access::fs_mode_name(before.mode),
                access::fs_mode_name(after.mode));
    for (std::size_t i = 0; i < before.percent.size(); ++i) {
        const std::string level = path + ' ' + access::kFsLevelNames.at(i);
        note_change(changes, level + " percent", std::to_string(before.percent.at(i)),
                    std::to_string(after.percent.at(i)));
        note_change(changes, level + " space", std::to_string(before.space.at(i)),
                    std::to_string(after.space.at(i)));
    }
}

Changes filesystem_changes(const access::FilesystemSettings& before,
                           const access::FilesystemSettings& after) {
    return interval_and_named_changes(before, after, &access::FilesystemSettings::filesystems,
                                      compare_filesystems);
}

}  // namespace

Reread filesystem_resource() {
    return rereading(read_filesystems, filesystem_changes);
}

}  // namespace zel::service
