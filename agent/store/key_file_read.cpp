// SPDX-License-Identifier: GPL-3.0-or-later
#include "key_file_read.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <map>
#include <mutex>
#include <utility>

#include "base/own_folder.h"
#include "base/paths.h"
#include "key_line.h"
#include "zel/trace.h"

namespace zel::store {
namespace {

constexpr const char* kModule = "store";

std::int64_t nanoseconds(const timespec& time) {
    return static_cast<std::int64_t>(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

void trace_unreadable(const std::string& line) {
    ZEL_TRACE(TRACE_LEVEL_ERROR, "%s", line.c_str());
}

std::atomic<UnreadableTeller> teller = trace_unreadable;

/// Logs a file that reads as empty, once for each state of it.
void tell_unreadable(const std::string& path, const FileStamp& stamp, const std::string& why) {
    static std::mutex mutex;
    static std::map<std::string, FileStamp>& told = *new std::map<std::string, FileStamp>;
    {
        const std::lock_guard guard(mutex);
        const auto [place, first] = told.try_emplace(path, stamp);
        if (!first && std::exchange(place->second, stamp) == stamp) return;
    }
    const base::ErrnoKeeper keep;
    teller.load()(path + ' ' + why + "; reading it as empty.");
}

base::UniqueFd open_to_read(const std::string& path) {
    return base::own_root(path).empty() ? base::open_regular(path) : base::open_own(path);
}

}  // namespace

std::string too_large(std::string_view text) {
    const auto more_than = [](std::size_t most, const char* what) {
        return "has more than " + std::to_string(most) + ' ' + what;
    };
    if (text.size() > kMaxKeyFileSize) return more_than(kMaxKeyFileSize, "bytes");
    std::size_t lines = 0;
    std::size_t groups = 0;
    for (std::size_t start = 0; start < text.size(); ++lines) {
        const std::size_t first = text.find_first_not_of(kBlanks, start);
        if (first != std::string_view::npos && text[first] == '[') ++groups;
        start = std::min(text.find('\n', start), text.size() - 1) + 1;
    }
    if (lines > kMaxKeyFileLines) return more_than(kMaxKeyFileLines, "lines");
    return groups > kMaxKeyFileGroups ? more_than(kMaxKeyFileGroups, "groups") : std::string();
}

FileStamp stamp_of(const struct stat& info) {
    return {.device = info.st_dev,
            .inode = info.st_ino,
            .size = info.st_size,
            .modified_ns = nanoseconds(info.st_mtim),
            .changed_ns = nanoseconds(info.st_ctim)};
}

FileStamp stamp_of(const std::string& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 ? stamp_of(info) : FileStamp{};
}

bool is_settled(const FileStamp& stamp) {
    using std::chrono::nanoseconds;
    constexpr std::chrono::milliseconds kStep{100};
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return now - nanoseconds(stamp.changed_ns) > kStep;
}

void tell_unreadable_files_to(UnreadableTeller listener) {
    teller = listener;
}

Status read_key_file(const base::UniqueFd& file, const std::string& path, KeyFile& out, FileStamp& stamp,
                     std::string& text) {
    out = KeyFile();
    stamp = {};
    text.clear();
    if (!file) return errno == ENOENT ? Status::not_found : Status::failed;
    struct stat info {};
    if (fstat(file.get(), &info) != 0) return Status::failed;
    stamp = stamp_of(info);
    // One byte more than a key file may have, and one more than it has: the end is then seen at once.
    if (!base::read_at_most(file.get(), kMaxKeyFileSize + 1, text,
                            static_cast<std::size_t>(info.st_size) + 1))
        return Status::failed;
    std::string fault = too_large(text);
    if (fault.empty() && out.parse(text)) return Status::ok;
    tell_unreadable(path, stamp, fault.empty() ? "cannot be understood" : fault);
    return Status::corrupt;
}

Status read_key_file(const std::string& path, KeyFile& out, FileStamp& stamp, std::string& text) {
    return read_key_file(open_to_read(path), path, out, stamp, text);
}

Status read_key_file(const std::string& path, KeyFile& out) {
    FileStamp stamp;
    std::string text;
    return read_key_file(path, out, stamp, text);
}

}  // namespace zel::store
