// SPDX-License-Identifier: GPL-3.0-or-later
// The file-system threshold file, for the library that reads and writes it and the service that takes it up.
//
//   [general]
//   interval=60
//   [/var]                    the path, see escape_name
//   mode=off                  off, percent or space: the form that counts
//   fatal.report.percent=95   percent in use
//   fatal.report.space=512    free MiB
//   ...                       the same for fatal.reset, warning.report and warning.reset
//   present=true
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "system/mounts.h"
#include "threshold_file.h"
#include "zel/access_monitor.h"

namespace zel::settings {

inline constexpr ThresholdFile kFilesystemFile{
    .name = "filesystem.conf",
    .resource = "filesystem",
    .naming = {.prefix = "", .name_start = "/", .longest = FS_PATH_SIZE - 1}};

/// The four thresholds of one form: fatal report, fatal reset, warning report, warning reset.
using FsLevels = std::array<std::int32_t, 4>;

/// Their names in the file.
inline constexpr std::array<const char*, 4> kFsLevelNames{"fatal.report", "fatal.reset", "warning.report",
                                                          "warning.reset"};

/// What one threshold may be in each form; which values fit together `judge` knows.
inline constexpr Value kFsPercent = number("percent", "percent", 0, 100, 0, Unit::percent);
inline constexpr Value kFsSpace =
    number("space", "space", 0, std::numeric_limits<std::int32_t>::max(), 0, Unit::mebibytes);

/// The modes' names in the file, from FS_MODE_OFF.
inline constexpr std::array<std::string_view, 3> kFsModeNames{"off", "percent", "space"};

inline std::string fs_mode_name(int mode) {
    return std::string(kFsModeNames.at(static_cast<std::size_t>(mode - FS_MODE_OFF)));
}

/// Settings of one file system.
struct FsSettings {
    int mode = FS_MODE_OFF;
    FsLevels percent{};  ///< In use.
    FsLevels space{};    ///< Free MiB.
    bool operator==(const FsSettings&) const = default;
};

struct FilesystemSettings {
    int interval = 0;
    std::map<std::string, FsSettings> filesystems;  ///< By path; also of those that are not present.
};

/// What a caller was handed out.
struct KnownFilesystems {
    FilesystemSettings settings;
    std::set<std::string> unsaved;  ///< Of these, the ones that the file did not hold.
};

/// One hundredth of a file system's capacity in MiB, nothing when that is not known.
using FsSize = std::optional<std::uint64_t>;
using FsSizes = std::map<std::string, FsSize>;  ///< By path; a missing one is not known.

/// The sizes that these mounts told.
FsSizes sizes_of(const std::vector<system::Mount>& mounts);

/// What a file system of this size starts from; its free spaces are 0 when the size is not known.
FsSettings filesystem_defaults(const FsSize& size);

/// Judges a file system's thresholds in the form that its mode names; one that is not watched is valid. Free
/// spaces have no upper bound when the size is not known.
/// @return FS_TEST_ bits; FS_TEST_FAILED for a mode that does not exist.
int judge(const FsSettings& settings, const FsSize& size);

/// Reads the file. A damaged value reads as its default, and so do all thresholds of a file system when those
/// that it is watched by are not valid. Nothing is saved in a missing file or one that does not parse;
/// `settings` is untouched when the file cannot be read (`failed`).
/// @param sizes_of  Asked once, about the file systems of the file.
store::Status read_filesystems(FilesystemSettings& settings,
                               const std::function<FsSizes(const system::SavedPaths&)>& sizes_of);

/// What is mounted and can be watched.
struct FilesystemList {
    std::vector<std::string> paths;  ///< The root first, then by path.
    KnownFilesystems known;          ///< Of all these paths.
    FsSizes sizes;

    [[nodiscard]] const FsSettings& of(const std::string& path) const {
        return known.settings.filesystems.at(path);
    }
};
/// Asks the mounted file systems; nothing when they or the settings cannot be read.
std::optional<FilesystemList> list_filesystems();

/// Wherever something is mounted now.
FoundNames mounted();

/// Writes interval and file systems in one replacement. A file system that is neither watched nor in the file
/// is not added; those of the file that `settings` does not name keep their thresholds. What then is neither
/// watched nor found goes. False when that failed; the file then stands as it was.
/// @param before  What the caller was handed out: values that it left so stay as somebody else has changed them
///                since, and so does what is not watched still and has come into the file. Where a file system's
///                thresholds would not be valid with both writers' values, nothing is written.
bool save_filesystems(const FilesystemSettings& settings, const std::optional<KnownFilesystems>& before,
                      const FoundNames& found);

}  // namespace zel::settings
