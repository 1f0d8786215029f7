// SPDX-License-Identifier: GPL-3.0-or-later
#include "file_io.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <thread>

namespace zel::store {

void UniqueFd::reset() {
    if (fd_ < 0) return;
    const ErrnoKeeper keep;
    close(std::exchange(fd_, -1));
}

UniqueFd open_file(const std::string& path, int flags, mode_t mode) {
    int fd = -1;
    do {
        fd = open(path.c_str(), flags | O_CLOEXEC | O_NOCTTY, mode);
    } while (fd < 0 && errno == EINTR);
    return UniqueFd(fd);
}

bool write_all(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = write(fd, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

bool lock_file(int fd, int operation, std::chrono::milliseconds longest) {
    using Clock = std::chrono::steady_clock;
    // flock has no time-out, so a lock that is taken is asked for again until the time is over.
    constexpr std::chrono::milliseconds pause{1};
    const Clock::time_point deadline = Clock::now() + longest;
    while (flock(fd, operation | LOCK_NB) != 0) {
        if (errno == EINTR) continue;
        if (errno != EWOULDBLOCK) return false;
        if (Clock::now() >= deadline) {
            errno = ETIMEDOUT;
            return false;
        }
        std::this_thread::sleep_for(pause);
    }
    return true;
}

bool still_named(int fd, const std::string& path) {
    struct stat opened {};
    struct stat named {};
    return fstat(fd, &opened) == 0 && lstat(path.c_str(), &named) == 0 && opened.st_dev == named.st_dev &&
           opened.st_ino == named.st_ino;
}

std::string parent_folder(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

}  // namespace zel::store
