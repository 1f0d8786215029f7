// SPDX-License-Identifier: GPL-3.0-or-later
#include "log_follower.h"

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

#include "base/event_file.h"
#include "base/paths.h"
#include "say.h"

namespace zel::hooks {
namespace {

constexpr std::size_t kChunk = 4 * base::kLongestEventLine;

std::string log_path() {
    return base::service_folder() + '/' + base::kEventLogName;
}
std::string rotated_path() {
    return base::service_folder() + '/' + base::kOlderEventLogName;
}

using Identity = std::optional<std::pair<dev_t, ino_t>>;

/// Which file a name stands for; nothing for none.
Identity identity(const std::string& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 ? Identity({info.st_dev, info.st_ino}) : std::nullopt;
}

bool stands_for(const std::string& path, const base::UniqueFd& file) {
    struct stat opened {};
    return file && fstat(file.get(), &opened) == 0 &&
           identity(path) == Identity({opened.st_dev, opened.st_ino});
}

}  // namespace

bool LogFollower::watching() {
    constexpr std::uint32_t kChanges =
        IN_MODIFY | IN_ATTRIB | IN_CREATE | IN_MOVED_TO | IN_MOVE_SELF | IN_ONLYDIR;
    if (!watch_) watch_ = base::UniqueFd(inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    alignas(inotify_event) std::array<char, 4096> told{};
    for (ssize_t got = 0; (got = ::read(watch_.get(), told.data(), told.size())) > 0;) {
        for (ssize_t at = 0; at < got;) {
            inotify_event change{};
            std::memcpy(&change, told.data() + at, sizeof change);
            at += static_cast<ssize_t>(sizeof change + change.len);
            // The folder is gone, or has another name.
            if ((change.mask & IN_IGNORED) != 0 && change.wd == folder_watch_) folder_watch_ = -1;
            if ((change.mask & IN_MOVE_SELF) != 0) inotify_rm_watch(watch_.get(), change.wd);
        }
    }
    if (folder_watch_ < 0)
        folder_watch_ = inotify_add_watch(watch_.get(), base::service_folder().c_str(), kChanges);
    return folder_watch_ >= 0;
}

bool LogFollower::read(const Take& take) {
    while (!is_current()) {
        if (current_.file && !read_file(current_, take)) return false;
        const auto before = identity(rotated_path());
        // What was written between that file and the present one, should it have been renamed twice.
        File rotated = open(rotated_path());
        if (rotated.file && !stands_for(rotated_path(), current_.file) && !read_file(rotated, take))
            return false;
        File next = open(log_path());
        if (identity(rotated_path()) != before) continue;  // renamed in between
        if (!next.file) break;
        next.begins = was_read_;
        current_ = std::move(next);
    }
    const bool all = !current_.file || read_file(current_, take);
    // One that cannot be read holds nobody knows what: it is no empty one.
    was_read_ = was_read_ || current_.file || fault_.empty();
    return all;
}

bool LogFollower::is_current() const {
    // Between a file's new name and its successor there is none.
    return current_.file && (access(log_path().c_str(), F_OK) != 0 || stands_for(log_path(), current_.file));
}

LogFollower::File LogFollower::open(const std::string& path) {
    File opened{.file = base::open_regular(path, O_NOFOLLOW)};
    std::string fault;
    if (!opened.file && errno != ENOENT) fault = path + ": " + base::why_not_opened();
    if (!fault.empty() && fault != fault_) say(fault);
    if (!fault.empty() || path == log_path()) fault_ = fault;
    return opened;
}

bool LogFollower::read_file(File& file, const Take& take) {
    struct stat info {};
    // A line that its writer did not end is cut off by the next one; nothing before it changes.
    if (fstat(file.file.get(), &info) == 0 && info.st_size < file.offset) {
        file.offset = 0;
        file.overlong = false;
    }
    std::array<char, kChunk> chunk{};
    for (off_t before = -1; file.offset != before;) {
        before = file.offset;
        const ssize_t got = pread(file.file.get(), chunk.data(), chunk.size(), file.offset);
        if (got <= 0) break;
        if (!take_lines(file, std::string_view(chunk.data(), static_cast<std::size_t>(got)), take))
            return false;
    }
    tell_left_out();
    return true;
}

bool LogFollower::take_lines(File& file, std::string_view bytes, const Take& take) {
    for (std::size_t end = bytes.find('\n'); end != std::string_view::npos; end = bytes.find('\n')) {
        const bool tail = std::exchange(file.overlong, false);
        if (!tail && !take_line(file, bytes.substr(0, end), take)) return false;
        file.offset += static_cast<off_t>(end) + 1;
        bytes.remove_prefix(end + 1);
    }
    if (bytes.size() > base::kLongestEventLine || (file.overlong && !bytes.empty())) {
        if (!std::exchange(file.overlong, true)) ++left_out_;
        file.offset += static_cast<off_t>(bytes.size());
    }
    return true;
}

bool LogFollower::take_line(File& file, std::string_view line, const Take& take) {
    const auto event = line.size() <= base::kLongestEventLine ? parse_event(line) : std::nullopt;
    if (!event) {
        ++left_out_;
        return true;
    }
    if (!take(*event, file.begins)) return false;
    file.begins = false;
    return true;
}

void LogFollower::tell_left_out() {
    if (left_out_ == 0) return;
    say(log_path() + ": lines that are no events, left out: " + std::to_string(left_out_));
    left_out_ = 0;
}

}  // namespace zel::hooks
