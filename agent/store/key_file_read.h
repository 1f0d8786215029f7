// SPDX-License-Identifier: GPL-3.0-or-later
// Reading a key file together with what tells one state of the file from another.
#pragma once

#include <sys/stat.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

#include "key_file.h"

namespace zel::store {

/// Files larger than this count as corrupt and are never written.
inline constexpr std::size_t max_key_file_size = std::size_t{16} << 20;

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

/// The stamp of what stands at `path`; nothing but zeros when that cannot be told.
FileStamp stamp_of(const std::string& path);

/// As `read_key_file(path, out)`; `stamp` receives the state that was read, `text` what the file holds.
Status read_key_file(const std::string& path, KeyFile& out, FileStamp& stamp, std::string& text);

}  // namespace zel::store
