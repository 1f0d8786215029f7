// SPDX-License-Identifier: GPL-3.0-or-later
// Reading a key file together with what makes one state of the file differ from another.
#pragma once

#include <sys/stat.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/file_io.h"
#include "key_file.h"

namespace zel::store {

// Larger files count as corrupt and are never written: reading one would hold up every program of the agent.
// The largest that we have any use for are those of a thousand mounts with paths of 4 KiB (4.4 MB, 12,000
// lines) or ten thousand devices.
inline constexpr std::size_t kMaxKeyFileSize = std::size_t{8} << 20;
inline constexpr std::size_t kMaxKeyFileLines = 131'072;
inline constexpr std::size_t kMaxKeyFileGroups = 16'384;

/// What a text has too much of, "has more than 16384 groups"; empty when it is within the bounds.
std::string too_large(std::string_view text);

/// Who is told, in one line, of each file that reads as empty because it cannot be understood or is too
/// large; the trace log when nobody else wants to know.
using UnreadableTeller = void (*)(const std::string& line);
void tell_unreadable_files_to(UnreadableTeller listener);

/// One state of one file. All zero for a file that does not exist.
struct FileStamp {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::int64_t size = 0;
    std::int64_t modified_ns = 0;
    std::int64_t changed_ns = 0;

    bool operator==(const FileStamp&) const = default;
};

FileStamp stamp_of(const struct stat& info);

/// The stamp of what stands at `path`; nothing but zeros when that is not known.
FileStamp stamp_of(const std::string& path);

/// False while a further change could leave a file of the same stamp: the clock behind a file's times goes
/// in steps, and the inode of a replaced file is used again.
bool is_settled(const FileStamp& stamp);

/// As `read_key_file(path, out)`; `stamp` receives the state that was read, `text` what the file holds.
Status read_key_file(const std::string& path, KeyFile& out, FileStamp& stamp, std::string& text);
/// The same of a file that was opened, or could not be, as errno says; `path` is its name for the log.
Status read_key_file(const base::UniqueFd& file, const std::string& path, KeyFile& out, FileStamp& stamp,
                     std::string& text);

}  // namespace zel::store
