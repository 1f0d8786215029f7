// SPDX-License-Identifier: GPL-3.0-or-later
#include "own_folder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <string_view>

#include "paths.h"

namespace zel::base {
namespace {

constexpr int kAttempts = 100;

/// The first name of a path, taken off it; empty at its end.
std::string take_name(std::string_view& path) {
    path.remove_prefix(std::min(path.find_first_not_of('/'), path.size()));
    std::string name(path.substr(0, path.find('/')));
    path.remove_prefix(name.size());
    return name;
}

}  // namespace

bool OwnFolder::may_belong(uid_t owner) const {
    return owner == 0 || owner == geteuid() || owner == root_owner_;
}

bool OwnFolder::enter(const std::string& name, bool make) {
    constexpr int kFlags = O_PATH | O_DIRECTORY | O_NOFOLLOW;
    UniqueFd next = open_at(folder_.get(), name, kFlags);
    if (!next && errno == ENOENT && make) {
        // Somebody else may make it at the same time.
        if (mkdirat(folder_.get(), name.c_str(), 0700) != 0 && errno != EEXIST) return false;
        next = open_at(folder_.get(), name, kFlags);
    }
    struct stat info {};
    if (!next || fstat(next.get(), &info) != 0) return false;
    errno = EPERM;
    if (name == ".." || !may_belong(info.st_uid)) return false;
    folder_ = std::move(next);
    return true;
}

OwnFolder OwnFolder::reach(const std::string& path, bool make) {
    const std::string root = own_root(path);
    const std::string& start = root.empty() ? path : root;
    if (make && !make_private_dir(start)) return {};
    OwnFolder folder;
    folder.folder_ = zel::base::open_file(start, O_PATH | O_DIRECTORY);
    struct stat info {};
    if (!folder || fstat(folder.folder_.get(), &info) != 0) return {};
    folder.root_owner_ = info.st_uid;
    std::string_view below = std::string_view(path).substr(start.size());
    for (std::string name = take_name(below); !name.empty(); name = take_name(below)) {
        if (!folder.enter(name, make)) return {};
    }
    return folder;
}

UniqueFd OwnFolder::open_file(const std::string& name, int flags, mode_t mode) const {
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        const bool only_new = (flags & O_EXCL) != 0;
        struct stat info {};
        if (!only_new && is_regular_at(folder_.get(), name, info)) {
            errno = EPERM;
            if (!may_belong(info.st_uid)) return {};
            UniqueFd file = open_regular_at(folder_.get(), name, flags & ~O_CREAT);
            if (file) return file;  // or it is gone since then
        }
        if (!only_new && (errno != ENOENT || (flags & O_CREAT) == 0)) return {};
        UniqueFd made = open_at(folder_.get(), name, flags | O_CREAT | O_EXCL, mode);
        // Unless somebody else has just made it.
        if (made || only_new || errno != EEXIST) return made;
    }
    return {};
}

bool OwnFolder::still_holds(const std::string& name, int file) const {
    struct stat opened {};
    struct stat named {};
    return fstat(file, &opened) == 0 &&
           fstatat(folder_.get(), name.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0 &&
           opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

bool OwnFolder::holds(const std::string& name) const {
    struct stat info {};
    return fstatat(folder_.get(), name.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0;
}

std::optional<std::vector<std::string>> OwnFolder::names() const {
    return names_in(readable());
}

bool OwnFolder::rename(const std::string& from, const std::string& to) const {
    return renameat(folder_.get(), from.c_str(), folder_.get(), to.c_str()) == 0;
}

bool OwnFolder::link(const std::string& from, const std::string& to) const {
    return linkat(folder_.get(), from.c_str(), folder_.get(), to.c_str(), 0) == 0;
}

bool OwnFolder::remove(const std::string& name) const {
    return unlinkat(folder_.get(), name.c_str(), 0) == 0;
}

std::optional<std::string> OwnFolder::keep_aside(const std::string& name) const {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    std::array<char, 32> stamp{};
    localtime_r(&now, &local);
    if (std::strftime(stamp.data(), stamp.size(), "%Y%m%dT%H%M%S", &local) == 0) return std::nullopt;
    const std::string base = name + ".corrupt-" + stamp.data();
    std::string aside = base;
    for (int count = 1; holds(aside); ++count)
        aside = base + '-' + std::to_string(count);
    if (!link(name, aside) && !rename(name, aside)) return std::nullopt;
    return aside;
}

UniqueFd OwnFolder::readable() const {
    return open_at(folder_.get(), ".", O_RDONLY | O_DIRECTORY);
}

UniqueFd open_own(const std::string& path) {
    const auto folder = OwnFolder::open(parent_folder(path));
    return folder ? folder.open_file(last_name(path), O_RDONLY) : UniqueFd();
}

UniqueFd take_own_lock(const std::string& path, std::chrono::milliseconds longest) {
    const auto folder = OwnFolder::make(parent_folder(path));
    UniqueFd file = folder ? folder.open_file(last_name(path), O_RDWR | O_CREAT, 0600) : UniqueFd();
    return file && lock_file(file.get(), LOCK_EX, longest) ? std::move(file) : UniqueFd();
}

}  // namespace zel::base
