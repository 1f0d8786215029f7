// SPDX-License-Identifier: GPL-3.0-or-later
#include "trusted_folder.h"

#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <string_view>

#include "chars/plain.h"
#include "file_io.h"

namespace zel::base {
namespace {

constexpr int kMostLinks = 40;  // as the kernel has it

/// Fit for a terminal: names of files may hold anything.
std::string shown(std::string_view path) {
    constexpr std::size_t kLongest = 200;
    return chars::escaped(path.substr(0, kLongest));
}

bool belongs_to_us(const struct stat& info) {
    return info.st_uid == 0 || info.st_uid == geteuid();
}

bool others_may_write(const struct stat& info) {
    return (info.st_mode & (S_IWGRP | S_IWOTH)) != 0;
}

/// In a sticky folder, others can add names but not change ours.
bool is_sticky_folder(const struct stat& info) {
    return S_ISDIR(info.st_mode) && (info.st_mode & S_ISVTX) != 0;
}

std::optional<std::string> link_target(const std::string& path) {
    std::array<char, PATH_MAX> target{};
    const ssize_t size = readlink(path.c_str(), target.data(), target.size());
    if (size <= 0 || static_cast<std::size_t>(size) == target.size()) return std::nullopt;
    return std::string(target.data(), static_cast<std::size_t>(size));
}

/// Follows a path by itself, because each folder has to be judged before what it holds is believed.
class Follower {
  public:
    /// @param from  A folder already judged, without links, where the path starts; empty for the root.
    Follower(std::string path, std::string from, std::string& fault)
        : left_(std::move(path)), reached_(std::move(from)), fault_(fault) {}

    std::optional<std::string> follow() {
        if (reached_.empty() && !look()) return std::nullopt;
        for (std::string name = take_name(); !name.empty(); name = take_name()) {
            if (!step(name)) return std::nullopt;
        }
        // What it ends at must not be sticky either: there, names that we do not have yet can be anybody's.
        if (others_may_write(found_) && !refuse("can be written by others")) return std::nullopt;
        return at();
    }

  private:
    [[nodiscard]] std::string at() const { return reached_.empty() ? "/" : reached_; }

    /// False, always.
    bool refuse(const char* why) {
        fault_ = shown(at()).append(" ").append(why);
        return false;
    }

    /// The next name of the path; empty at its end.
    std::string take_name() {
        left_.erase(0, std::min(left_.find_first_not_of('/'), left_.size()));
        std::string name = left_.substr(0, left_.find('/'));
        left_.erase(0, name.size());
        return name;
    }

    /// Judges what stands at the place reached.
    bool look() {
        if (lstat(at().c_str(), &found_) != 0)
            return refuse(errno == ENOENT ? "does not exist" : "cannot be looked at");
        if (!belongs_to_us(found_)) return refuse("belongs to another user");
        if (S_ISLNK(found_.st_mode) || !others_may_write(found_) || is_sticky_folder(found_)) return true;
        return refuse("can be written by others");
    }

    bool step(const std::string& name) {
        if (name == ".") return true;
        const std::string folder = reached_;
        if (name == "..") {
            reached_.erase(reached_.empty() ? 0 : reached_.rfind('/'));
            return look();
        }
        reached_.append("/").append(name);
        if (!look()) return false;
        if (!S_ISLNK(found_.st_mode)) return true;
        const auto target = link_target(reached_);
        if (!target || ++links_ > kMostLinks) return refuse("leads nowhere");
        left_.insert(0, *target);
        reached_ = target->starts_with('/') ? std::string() : folder;
        return look();
    }

    std::string left_;     ///< Of the path, still to be followed.
    std::string reached_;  ///< Without links and a slash at its end; empty for the root.
    std::string& fault_;
    struct stat found_ {};  ///< What stands there.
    int links_ = 0;
};

bool is_missing(const std::string& path) {
    struct stat info {};
    return lstat(path.c_str(), &info) != 0 && errno == ENOENT;
}

std::optional<std::string> trusted_agent_dir(const char* folder, std::string& fault) {
    auto agent = trusted_path(folder, fault);
    if (!agent) return std::nullopt;
    for (const char* name : {"/lib", "/data", "/state", "/agent.conf"}) {
        const std::string part = *agent + name;
        // Where there is nothing yet, nobody but us can put something.
        if (!Follower(name, *agent, fault).follow() && !is_missing(part)) return std::nullopt;
    }
    return agent;
}

}  // namespace

std::optional<std::string> trusted_path(const std::string& path, std::string& fault) {
    if (path.starts_with('/')) return Follower(path, {}, fault).follow();
    std::array<char, PATH_MAX> folder{};
    if (getcwd(folder.data(), folder.size()) != nullptr)
        return Follower(std::string(folder.data()) + '/' + path, {}, fault).follow();
    fault = shown(path) + " is not to be reached from here";
    return std::nullopt;
}

std::optional<std::string> agent_dir_of_environment() {
    const char* const folder = secure_getenv("ZelDir");
    if (folder == nullptr || *folder == '\0') return std::nullopt;
    std::string fault;
    auto agent = trusted_agent_dir(folder, fault);
    if (agent) return agent;
    write_all(STDERR_FILENO, "ZelDir is ignored: " + fault + ".\n");
    // The trace log, the other libraries and our programs each have this code; those that look later must neither differ nor
    // repeat it.
    unsetenv("ZelDir");
    return std::nullopt;
}

}  // namespace zel::base
