// SPDX-License-Identifier: GPL-3.0-or-later
// The folders that the agent writes to, held open, so that no name in them leads elsewhere: whoever could put
// a link there - by an older bug, a backup put back wrongly - would choose what root overwrites.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "file_io.h"

namespace zel::base {

/// A folder, open. Below the agent's own roots (see own_root in paths.h) no link is followed on the way to
/// it, and each folder must belong to root, the caller or the root folder's owner; elsewhere the path is
/// taken as it is. What fails leaves errno.
class OwnFolder {
  public:
    /// No folder, with errno set, when it does not exist or must not be used (EPERM, ENOTDIR for a link).
    static OwnFolder open(const std::string& path) { return reach(path, false); }
    /// Makes what is missing, with mode 0700.
    static OwnFolder make(const std::string& path) { return reach(path, true); }

    explicit operator bool() const { return static_cast<bool>(folder_); }

    /// Opens a regular file, or makes one (O_CREAT). A link (ELOOP), anything else that is no regular file
    /// (ENXIO, EISDIR) and a file of somebody else (EPERM) are refused without being opened: opening a device
    /// may already do something.
    [[nodiscard]] UniqueFd open_file(const std::string& name, int flags, mode_t mode = 0) const;

    /// True when the name still stands for the open file, and not for one since put in its place.
    [[nodiscard]] bool still_holds(const std::string& name, int file) const;
    [[nodiscard]] bool holds(const std::string& name) const;
    [[nodiscard]] std::optional<std::vector<std::string>> names() const;

    /// As rename(2), link(2) and unlink(2), within the folder.
    [[nodiscard]] bool rename(const std::string& from, const std::string& to) const;
    [[nodiscard]] bool link(const std::string& from, const std::string& to) const;
    bool remove(const std::string& name) const;

    /// Gives a file that cannot be understood a second name, NAME.corrupt-TIME, so that nothing in it is lost. The first
    /// name stays where the file system has links: whoever replaces the file takes it over.
    /// @return The second name; nothing, with errno set, on failure.
    [[nodiscard]] std::optional<std::string> keep_aside(const std::string& name) const;

    /// A descriptor of the folder that can be synced and locked.
    [[nodiscard]] UniqueFd readable() const;

  private:
    static OwnFolder reach(const std::string& path, bool make);
    bool enter(const std::string& name, bool make);
    [[nodiscard]] bool may_belong(uid_t owner) const;

    UniqueFd folder_;
    uid_t root_owner_ = 0;
};

/// Opens a file of our own folders for reading, as OwnFolder::open_file.
UniqueFd open_own(const std::string& path);

/// Opens a lock file of our own folders, made where it is missing, and takes its lock alone, waiting no longer than
/// `longest`. No descriptor, with errno set (ETIMEDOUT when somebody else kept it), on failure.
UniqueFd take_own_lock(const std::string& path, std::chrono::milliseconds longest);

}  // namespace zel::base
