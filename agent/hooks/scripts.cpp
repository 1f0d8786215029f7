// SPDX-License-Identifier: GPL-3.0-or-later
#include "scripts.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <set>

#include "base/paths.h"
#include "base/trusted_folder.h"
#include "say.h"

namespace zel::hooks {
namespace {

/// A reason stays until somebody mends it: it is told once.
void refuse(const std::string& line) {
    static std::set<std::string> told;
    if (told.insert(line).second) say(line);
}

/// Opens what a path leads to, when nobody else has a hand in any part of the way. The way cannot change after that
/// but by those who are trusted; what counts is said of the open file again.
base::UniqueFd open_trusted(const std::string& path, int flags, struct stat& info) {
    std::string fault;
    const auto real = base::trusted_path(path, fault);
    if (!real) {
        refuse(fault + ": not run");
        return {};
    }
    base::UniqueFd file = base::open_file(*real, flags | O_NOFOLLOW);
    if (!file || fstat(file.get(), &info) != 0) {
        refuse(path + ": " + std::strerror(errno));
        return {};
    }
    const bool ours = info.st_uid == 0 || (base::is_private_agent() && info.st_uid == geteuid());
    if (ours && (info.st_mode & (S_IWGRP | S_IWOTH)) == 0) return file;
    refuse(path + " can be written by others: not run");
    return {};
}

bool exists(const std::string& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 || errno != ENOENT;
}

}  // namespace

bool is_hook_name(std::string_view name) {
    constexpr std::size_t kLongest = 128;
    constexpr std::string_view kEnding = ".sh";
    if (name.size() > kLongest) return false;
    if (name.ends_with(kEnding)) name.remove_suffix(kEnding.size());
    const auto fits = [](char one) {
        return (one >= 'a' && one <= 'z') || (one >= 'A' && one <= 'Z') || (one >= '0' && one <= '9') ||
               one == '_' || one == '-';
    };
    return !name.empty() && std::ranges::all_of(name, fits);
}

std::string hooks_folder() {
    return base::parent_folder(base::config_file()) + "/alert.d";
}

std::vector<std::string> hook_names() {
    const std::string path = hooks_folder();
    struct stat info {};
    if (!exists(path)) return {};
    base::UniqueFd folder = open_trusted(path, O_RDONLY | O_DIRECTORY, info);
    auto names = folder ? base::names_in(std::move(folder)) : std::nullopt;
    if (!names) return {};
    std::erase_if(*names, [](const std::string& name) { return !is_hook_name(name); });
    std::ranges::sort(*names);
    return *std::move(names);
}

base::UniqueFd open_hook(const std::string& name) {
    const std::string path = hooks_folder() + '/' + name;
    struct stat info {};
    base::UniqueFd file = open_trusted(path, O_PATH, info);
    const bool runs =
        file && S_ISREG(info.st_mode) && faccessat(file.get(), "", X_OK, AT_EACCESS | AT_EMPTY_PATH) == 0;
    return runs ? std::move(file) : base::UniqueFd();
}

}  // namespace zel::hooks
