// SPDX-License-Identifier: GPL-3.0-or-later
#include "file_io.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <thread>

namespace zel::base {
namespace {

bool is_regular(const struct stat& info) {
    if (S_ISREG(info.st_mode)) return true;
    errno = S_ISDIR(info.st_mode) ? EISDIR : S_ISLNK(info.st_mode) ? ELOOP : ENXIO;
    return false;
}

}  // namespace

void UniqueFd::reset() {
    if (fd_ < 0) return;
    const ErrnoKeeper keep;
    close(std::exchange(fd_, -1));
}

UniqueFd open_file(const std::string& path, int flags, mode_t mode) {
    return open_at(AT_FDCWD, path, flags, mode);
}

UniqueFd open_at(int folder, const std::string& path, int flags, mode_t mode) {
    int fd = -1;
    do {
        fd = openat(folder, path.c_str(), flags | O_CLOEXEC | O_NOCTTY, mode);
    } while (fd < 0 && errno == EINTR);
    return UniqueFd(fd);
}

bool is_regular(int fd, struct stat* info) {
    struct stat found {};
    if (fstat(fd, &found) != 0) return false;
    if (info != nullptr) *info = found;
    return is_regular(found);
}

bool is_regular_at(int folder, const std::string& path, struct stat& info) {
    return fstatat(folder, path.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0 && is_regular(info);
}

UniqueFd open_regular_at(int folder, const std::string& path, int flags) {
    UniqueFd file = open_at(folder, path, flags | O_NOFOLLOW | O_NONBLOCK);
    return file && is_regular(file.get()) ? std::move(file) : UniqueFd();
}

UniqueFd open_regular(const std::string& path, int flags) {
    struct stat info {};
    if (is_regular_at(AT_FDCWD, path, info)) return open_regular_at(AT_FDCWD, path, O_RDONLY);
    if (errno != ELOOP || (flags & O_NOFOLLOW) != 0) return {};
    // What a link leads to may be changed by others. The first look into a process' own folder of descriptors takes
    // longer than all else here, so it is left to links.
    const UniqueFd found = open_file(path, O_PATH);
    if (!found || !is_regular(found.get())) return {};
    return open_file("/proc/self/fd/" + std::to_string(found.get()), O_RDONLY);
}

const char* why_not_opened() {
    return errno == ENXIO || errno == EISDIR || errno == ELOOP ? "not a regular file" : std::strerror(errno);
}

bool read_at_most(int fd, std::size_t most, std::string& bytes, std::size_t expected) {
    std::size_t filled = 0;
    bytes.resize(std::min(expected, most));
    while (filled < most) {
        if (filled == bytes.size()) bytes.resize(std::min(std::max<std::size_t>(filled * 2, 64), most));
        const ssize_t got = read(fd, bytes.data() + filled, bytes.size() - filled);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return false;
        if (got == 0) break;
        filled += static_cast<std::size_t>(got);
    }
    bytes.resize(filled);
    return true;
}

std::optional<std::vector<std::string>> names_in(const std::string& folder) {
    return names_in(open_file(folder, O_RDONLY | O_DIRECTORY));
}

std::optional<std::vector<std::string>> names_in(UniqueFd folder) {
    if (!folder) return std::nullopt;
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(fdopendir(folder.get()), closedir);
    if (!entries) return std::nullopt;
    folder.release();  // closed with the entries
    std::vector<std::string> names;
    errno = 0;  // tells an end of the folder from a failure
    while (const dirent* entry = readdir(entries.get())) {
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..") names.emplace_back(name);
    }
    return errno == 0 ? std::optional(std::move(names)) : std::nullopt;
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

std::string boot_id() {
    constexpr std::size_t kLength = 36;
    const auto file = open_file("/proc/sys/kernel/random/boot_id", O_RDONLY);
    std::string id;
    if (!file || !read_at_most(file.get(), kLength, id)) id.clear();
    return id;
}

bool lock_file(int fd, int operation, std::chrono::milliseconds longest) {
    using Clock = std::chrono::steady_clock;
    // flock has no time-out, so a lock that is taken is asked for again until the time is over.
    constexpr std::chrono::milliseconds kPause{1};
    const Clock::time_point deadline = Clock::now() + longest;
    while (flock(fd, operation | LOCK_NB) != 0) {
        if (errno == EINTR) continue;
        if (errno != EWOULDBLOCK) return false;
        if (Clock::now() >= deadline) {
            errno = ETIMEDOUT;
            return false;
        }
        std::this_thread::sleep_for(kPause);
    }
    return true;
}

std::string parent_folder(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string last_name(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

}  // namespace zel::base
