// SPDX-License-Identifier: GPL-3.0-or-later
// The few file operations that the store, the trace log and the named events share.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zel::base {

/// Keeps errno over its scope: for clean-up that must not hide why a step failed.
class ErrnoKeeper {
  public:
    ErrnoKeeper() = default;
    ~ErrnoKeeper() { errno = saved_; }
    ErrnoKeeper(const ErrnoKeeper&) = delete;
    ErrnoKeeper& operator=(const ErrnoKeeper&) = delete;

  private:
    int saved_ = errno;
};

/// Owns a file descriptor. Closing keeps errno.
class UniqueFd {
  public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : fd_(fd) {}
    ~UniqueFd() { reset(); }
    UniqueFd(UniqueFd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept {
        if (this != &other) {
            reset();
            fd_ = std::exchange(other.fd_, -1);
        }
        return *this;
    }

    [[nodiscard]] int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }
    void reset();
    /// Hands the descriptor over: somebody else closes it.
    int release() { return std::exchange(fd_, -1); }

  private:
    int fd_ = -1;
};

/// Opens a file, never inherited by a started program. No descriptor, with errno set, on failure.
UniqueFd open_file(const std::string& path, int flags, mode_t mode = 0);
/// The same, for a path that starts from an open folder.
UniqueFd open_at(int folder, const std::string& path, int flags, mode_t mode = 0);

/// True for a regular file, which `info`, if any, then describes; errno is ENXIO, EISDIR or ELOOP for anything
/// else. The descriptor may be one of O_PATH.
bool is_regular(int fd, struct stat* info = nullptr);
/// The same of a name in an open folder, or from AT_FDCWD; a link is one (ELOOP).
bool is_regular_at(int folder, const std::string& path, struct stat& info);

/// Opens what `is_regular_at` has just found. What took its place since then is refused as well, and cannot do harm
/// by being opened: a link is not followed, a pipe does not wait, and who could put a device there is root.
UniqueFd open_regular_at(int folder, const std::string& path, int flags);
/// Opens, for reading, a regular file that somebody else named: in a configuration, or by its place. Anything
/// else is refused before it is opened: opening a pipe waits, opening a watchdog's device arms it. No
/// descriptor, with errno set, on failure.
/// @param flags  O_NOFOLLOW refuses a link too (ELOOP).
UniqueFd open_regular(const std::string& path, int flags = 0);
/// Why `open_regular` gave no descriptor, for a message.
const char* why_not_opened();

/// Reads what an open file still holds, at most `most` bytes of it. False with errno set when that failed.
/// @param expected  How many there may be; a guess saves reading in steps.
bool read_at_most(int fd, std::size_t most, std::string& bytes, std::size_t expected = 4096);

/// The names of what a folder holds, in no order; nothing with errno set when it cannot be read.
std::optional<std::vector<std::string>> names_in(const std::string& folder);
std::optional<std::vector<std::string>> names_in(UniqueFd folder);

/// Writes all bytes. False with errno set when that failed half-way.
bool write_all(int fd, std::string_view bytes);

/// Which run of the machine this is; empty where the kernel does not tell.
std::string boot_id();

/// Takes a flock(2) lock (LOCK_SH or LOCK_EX), waiting no longer than `longest`. False with errno set;
/// ETIMEDOUT when somebody else kept it.
bool lock_file(int fd, int operation, std::chrono::milliseconds longest);

/// The folder that a path's last part lies in, and that part.
std::string parent_folder(const std::string& path);
std::string last_name(const std::string& path);

}  // namespace zel::base
