// SPDX-License-Identifier: GPL-3.0-or-later
#include "log_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace zel::trace {
namespace {

// How far a process may write past the limit before it looks at the file's size again.
constexpr std::size_t kCheckInterval = std::size_t{16} << 10;

std::string file_name(std::string_view program) {
    constexpr std::size_t kLongest = 64;
    constexpr std::string_view kOthers = "._-";
    std::string name(program.substr(0, kLongest));
    for (char& c : name) {
        const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
        if (!letter && (c < '0' || c > '9') && kOthers.find(c) == std::string_view::npos) c = '_';
    }
    return name + ".log";
}

}  // namespace

bool LogFile::open(const std::string& folder, std::string_view program) {
    folder_ = folder;
    name_ = file_name(program);
    reopen();
    return static_cast<bool>(file_);
}

void LogFile::write(std::string_view line, std::time_t second) {
    written_since_check_ += line.size();
    if (second != checked_at_ || written_since_check_ >= kCheckInterval) {
        checked_at_ = second;
        written_since_check_ = 0;
        check();
    }
    // A single write: with O_APPEND the lines of several processes do not mix. What does not fit on the disk
    // is lost.
    if (file_) base::write_all(file_.get(), line);
}

void LogFile::reopen() {
    file_.reset();
    // A link, pipe or terminal in its place is left alone.
    if (const auto folder = base::OwnFolder::make(folder_))
        file_ = folder.open_file(name_, O_WRONLY | O_APPEND | O_CREAT, 0600);
}

void LogFile::check() {
    // The folder is opened each time: somebody may have put another in its place.
    const auto folder = base::OwnFolder::open(folder_);
    struct stat info {};
    if (!file_ || !folder || !folder.still_holds(name_, file_.get())) {
        reopen();
    } else if (fstat(file_.get(), &info) == 0 && info.st_size > static_cast<off_t>(kRotationSize)) {
        rotate(folder);
    }
}

void LogFile::rotate(const base::OwnFolder& folder) {
    const base::UniqueFd lock = folder.readable();
    // Whoever does not get the lock goes on writing and looks again later.
    if (!lock || flock(lock.get(), LOCK_EX | LOCK_NB) != 0) return;
    if (folder.still_holds(name_, file_.get())) {
        const std::string newest = name_ + ".1";
        // When this cannot be, the file goes on growing until it can.
        static_cast<void>(folder.rename(newest, name_ + ".2"));
        static_cast<void>(folder.rename(name_, newest));
    }
    reopen();
}

}  // namespace zel::trace
