// SPDX-License-Identifier: GPL-3.0-or-later
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <mutex>
#include <set>
#include <utility>

#include "base/file_io.h"
#include "base/own_folder.h"
#include "base/paths.h"
#include "key_file.h"
#include "key_file_lock.h"
#include "key_file_read.h"
#include "zel/trace.h"

namespace zel::store {
namespace {

constexpr const char* kModule = "store";
constexpr std::chrono::seconds kLongestWaitForLock{5};
constexpr std::string_view kTemporarySuffix = ".tmp.";

/// Removes what killed writers left of the file's replacements.
void remove_stale_temporaries(const base::OwnFolder& folder, const std::string& file) {
    const std::string prefix = file + std::string(kTemporarySuffix);
    for (const std::string& name : folder.names().value_or(std::vector<std::string>())) {
        if (!name.starts_with(prefix)) continue;
        const auto writer =
            parse_int(name.substr(prefix.size(), name.find('.', prefix.size()) - prefix.size()));
        const bool alive = writer && *writer > 0 && *writer <= std::numeric_limits<pid_t>::max() &&
                           (kill(static_cast<pid_t>(*writer), 0) == 0 || errno != ESRCH);
        if (!alive) folder.remove(name);
    }
}

/// Where a folder is open to a group, and to nobody else, the group may read what is written there: the
/// installed service its settings. Only the owner may write it. A folder of the writer's own group is its own affair;
/// the service may not change groups at all.
bool share_with_group(int file, int folder) {
    struct stat info {};
    if (fstat(folder, &info) != 0) return false;
    const bool is_shared = (info.st_mode & (S_IRWXG | S_IRWXO)) == (S_IRGRP | S_IXGRP);
    if (!is_shared || info.st_gid == getegid()) return true;
    return fchown(file, static_cast<uid_t>(-1), info.st_gid) == 0 && fchmod(file, 0640) == 0;
}

/// A synced file beside the one that it is going to replace; removed when it never does.
class Replacement {
  public:
    Replacement(const base::OwnFolder& folder, const std::string& file) : folder_(folder), file_(file) {}
    ~Replacement() {
        if (name_.empty()) return;
        const base::ErrnoKeeper keep;
        folder_.remove(name_);
    }
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;

    bool write(std::string_view bytes) {
        synced_ = folder_.readable();
        const base::UniqueFd file = synced_ ? create() : base::UniqueFd();
        return file && share_with_group(file.get(), synced_.get()) && base::write_all(file.get(), bytes) &&
               fsync(file.get()) == 0;
    }

    bool commit() {
        if (!folder_.rename(name_, file_)) return false;
        name_.clear();
        // Some file systems cannot sync a folder and say so; their renames are as safe as they get.
        return fsync(synced_.get()) == 0 || errno == EINVAL;
    }

  private:
    base::UniqueFd create() {
        static std::atomic<unsigned> counter{0};
        base::UniqueFd file;
        // A name may be taken by the leftover of a killed process that had our process number.
        for (int attempt = 0; attempt < 100; ++attempt) {
            std::string name = file_;
            name.append(kTemporarySuffix).append(std::to_string(getpid())).append(1, '.');
            name.append(std::to_string(counter++));
            file = folder_.open_file(name, O_WRONLY | O_CREAT | O_EXCL, 0600);
            if (file) name_ = std::move(name);
            if (file || errno != EEXIST) break;
        }
        return file;
    }

    const base::OwnFolder& folder_;
    const std::string& file_;
    std::string name_;
    base::UniqueFd synced_;
};

base::UniqueFd lock_for_update(const base::OwnFolder& folder, const std::string& file) {
    const std::string name = file + ".lock";
    for (;;) {
        base::UniqueFd lock = folder.open_file(name, O_RDWR | O_CREAT, 0600);
        if (!lock || !base::lock_file(lock.get(), LOCK_EX, kLongestWaitForLock)) return {};
        // Somebody tidying the folder may have removed the lock file; then it protects nothing.
        if (folder.still_holds(name, lock.get())) return lock;
    }
}

/// The files whose locks are held for several changes.
struct Held {
    std::mutex mutex{};
    std::set<std::string> paths{};
};
Held& held() {
    static Held& only = *new Held;  // never destroyed: threads may still write while the process ends
    return only;
}

/// A file that does not parse reads as empty: replacing it must lose nothing.
bool keep_aside(const base::OwnFolder& folder, const std::string& file) {
    const auto aside = folder.keep_aside(file);
    if (aside) ZEL_TRACE(TRACE_LEVEL_ERROR, "%s is kept as %s.", file.c_str(), aside->c_str());
    return aside.has_value();
}

/// True for a text that readers will accept: what KeyFile::set lets through parses, but may grow too large.
bool is_readable_text(const std::string& text) {
    if (too_large(text).empty()) return true;
    errno = EFBIG;
    return false;
}

}  // namespace

Status update_key_file(const std::string& path, const std::function<bool(KeyFile&)>& change,
                       std::vector<KeyFile::Change>* changes) {
    const auto folder = base::OwnFolder::make(base::parent_folder(path));
    const std::string name = base::last_name(path);
    base::UniqueFd lock;
    if (folder && !holds_lock(path)) lock = lock_for_update(folder, name);
    if (!folder || (!lock && !holds_lock(path))) return Status::failed;
    remove_stale_temporaries(folder, name);

    KeyFile file;
    FileStamp stamp;
    std::string before;
    const Status found = read_key_file(folder.open_file(name, O_RDONLY), path, file, stamp, before);
    if (found == Status::failed) return Status::failed;
    if (found == Status::corrupt) before.clear();
    if (!change(file)) return Status::ok;
    const std::string after = file.serialise();
    if (after == before) return Status::ok;

    Replacement replacement(folder, name);
    const bool replaced = is_readable_text(after) && replacement.write(after) &&
                          (found != Status::corrupt || keep_aside(folder, name)) && replacement.commit();
    if (replaced && changes) *changes = file.take_changes();
    return replaced ? Status::ok : Status::failed;
}

bool holds_lock(const std::string& path) {
    const std::lock_guard guard(held().mutex);
    return held().paths.contains(path);
}

std::optional<HeldLocks> HeldLocks::take(std::vector<std::string> paths) {
    std::ranges::sort(paths);  // all in one order, so that no two wait for each other
    HeldLocks locks;
    for (std::string& path : paths) {
        const auto folder = base::OwnFolder::make(base::parent_folder(path));
        auto lock = folder ? lock_for_update(folder, base::last_name(path)) : base::UniqueFd();
        if (!lock) return std::nullopt;
        const std::lock_guard guard(held().mutex);
        held().paths.insert(path);
        locks.paths_.push_back(std::move(path));
        locks.locks_.push_back(std::move(lock));
    }
    return locks;
}

HeldLocks::HeldLocks(HeldLocks&& other) noexcept
    : paths_(std::exchange(other.paths_, {})), locks_(std::move(other.locks_)) {}

HeldLocks& HeldLocks::operator=(HeldLocks&& other) noexcept {
    std::swap(paths_, other.paths_);
    std::swap(locks_, other.locks_);
    return *this;
}

HeldLocks::~HeldLocks() {
    const base::ErrnoKeeper keep;
    const std::lock_guard guard(held().mutex);
    for (const std::string& path : paths_)
        held().paths.erase(path);
}

bool replace_file(const std::string& path, std::string_view bytes) {
    const auto folder = base::OwnFolder::open(base::parent_folder(path));
    const std::string name = base::last_name(path);
    if (!folder) return false;
    remove_stale_temporaries(folder, name);
    Replacement replacement(folder, name);
    return replacement.write(bytes) && replacement.commit();
}

}  // namespace zel::store
