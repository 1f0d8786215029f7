// SPDX-License-Identifier: GPL-3.0-or-later
#include "event.h"

#include <fcntl.h>
#include <linux/futex.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstddef>
#include <ctime>
#include <utility>

#include "base/own_folder.h"
#include "base/paths.h"

namespace zel::compat {
namespace {

constexpr std::uint32_t kEventMagic = 0x5A454531;  // "ZEE1"
constexpr std::uint32_t kNoLimit = 0xFFFFFFFF;
// Users hold the exclusive lock for a moment only; each attempt that fails means that another got on.
constexpr std::chrono::seconds kLongestWaitForLock{5};
constexpr int kAttempts = 100;

static_assert(std::atomic_ref<std::uint32_t>::is_always_lock_free);

timespec deadline_in(std::uint32_t ms) {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    time.tv_sec += ms / 1000;
    time.tv_nsec += static_cast<long>(ms % 1000) * 1'000'000;
    if (time.tv_nsec >= 1'000'000'000) {
        ++time.tv_sec;
        time.tv_nsec -= 1'000'000'000;
    }
    return time;
}

/// Sleeps while the word is 0. False when the deadline passed or sleeping is impossible.
bool sleep_on(std::uint32_t& word, const timespec* deadline) {
    const long result =
        syscall(SYS_futex, &word, FUTEX_WAIT_BITSET, 0, deadline, nullptr, FUTEX_BITSET_MATCH_ANY);
    return result == 0 || errno == EAGAIN || errno == EINTR;
}

/// True for what may be the name of an event, and so of its file.
bool is_name(std::string_view name) {
    constexpr std::size_t kLongest = 100;
    const auto allowed = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
               c == '_' || c == '-';
    };
    const bool fits = !name.empty() && name.size() <= kLongest && name != "." && name != ".." &&
                      std::ranges::all_of(name, allowed);
    errno = EINVAL;
    return fits;
}

std::string events_folder() {
    return base::run_folder() + "/events";
}

bool nobody_uses(const base::UniqueFd& file) {
    return flock(file.get(), LOCK_EX | LOCK_NB) == 0;
}

bool start_again(const base::UniqueFd& file, bool manual_reset, bool initial) {
    const EventRecord record{.magic = kEventMagic,
                             .manual_reset = manual_reset ? 1U : 0U,
                             .state = initial ? 1U : 0U,
                             .reserved = 0};
    return pwrite(file.get(), &record, sizeof record, 0) == sizeof record &&
           ftruncate(file.get(), sizeof record) == 0;
}

bool is_ours(const base::UniqueFd& file) {
    struct stat info {};
    errno = EPERM;
    return file && fstat(file.get(), &info) == 0 && info.st_uid == geteuid();
}

/// Nobody else can make us wait: a lock on another user's file is had at once or not at all.
bool become_user(const base::UniqueFd& file) {
    const bool ours = is_ours(file);
    return base::lock_file(file.get(), LOCK_SH, ours ? kLongestWaitForLock : std::chrono::seconds(0));
}

std::optional<EventRecord> read_record(const base::UniqueFd& file) {
    EventRecord record{};
    struct stat info {};
    if (fstat(file.get(), &info) != 0) return std::nullopt;
    errno = EINVAL;
    const bool valid = S_ISREG(info.st_mode) && info.st_size == sizeof record &&
                       pread(file.get(), &record, sizeof record, 0) == sizeof record &&
                       record.magic == kEventMagic;
    return valid ? std::optional(record) : std::nullopt;
}

void remove_if_named(const base::UniqueFd& file, const base::OwnFolder& folder, const std::string& name) {
    if (folder && folder.still_holds(name, file.get())) folder.remove(name);
}

}  // namespace

Event::Event(bool manual_reset, bool initial) {
    own_.manual_reset = manual_reset ? 1 : 0;
    own_.state = initial ? 1 : 0;
}

Event::Event(base::UniqueFd file, std::string name)
    : file_(std::move(file)), name_(std::move(name)), opened_by_(getpid()) {}

Event::~Event() {
    if (!file_) return;
    const base::ErrnoKeeper keep;
    if (record_ != &own_) munmap(record_, sizeof *record_);
    // A forked child shares our lock; it must not take the event from the process that opened it.
    if (opened_by_ == getpid() && nobody_uses(file_))
        remove_if_named(file_, base::OwnFolder::open(events_folder()), name_);
}

std::shared_ptr<Event> Event::attach(base::UniqueFd file, const std::string& name) {
    const std::shared_ptr<Event> event(new Event(std::move(file), name));
    if (!read_record(event->file_)) return nullptr;
    void* const mapped =
        mmap(nullptr, sizeof(EventRecord), PROT_READ | PROT_WRITE, MAP_SHARED, event->file_.get(), 0);
    if (mapped == MAP_FAILED) return nullptr;
    event->record_ = static_cast<EventRecord*>(mapped);
    return event;
}

std::shared_ptr<Event> Event::create_named(std::string_view name, bool manual_reset, bool initial) {
    if (!is_name(name)) return nullptr;
    const std::string own(name);
    const auto folder = base::OwnFolder::make(events_folder());
    if (!folder || !is_ours(folder.readable())) return nullptr;  // another user's: there we make nothing
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        base::UniqueFd file = folder.open_file(own, O_RDWR | O_CREAT, 0600);
        if (!file) return nullptr;
        if (nobody_uses(file) && !start_again(file, manual_reset, initial)) return nullptr;
        if (!become_user(file)) return nullptr;
        // Changing the lock's kind lets go of it for a moment: an opener may have removed the file.
        if (folder.still_holds(own, file.get())) return attach(std::move(file), own);
        errno = EBUSY;
    }
    return nullptr;
}

std::shared_ptr<Event> Event::open_named(std::string_view name) {
    if (!is_name(name)) return nullptr;
    const std::string own(name);
    const auto folder = base::OwnFolder::open(events_folder());
    for (int attempt = 0; folder && attempt < kAttempts; ++attempt) {
        base::UniqueFd file = folder.open_file(own, O_RDWR);
        if (!file) return nullptr;
        if (nobody_uses(file)) {
            remove_if_named(file, folder, own);
            errno = ENOENT;
            return nullptr;
        }
        if (!become_user(file)) return nullptr;
        if (folder.still_holds(own, file.get())) return attach(std::move(file), own);
        errno = EBUSY;
    }
    return nullptr;
}

void Event::set() {
    // Not through the mapping: another user who cut the file short would end us there.
    constexpr std::uint32_t kSet = 1;
    if (!file_) {
        std::atomic_ref(record_->state).store(kSet);
    } else if (pwrite(file_.get(), &kSet, sizeof kSet, offsetof(EventRecord, state)) != sizeof kSet) {
        return;
    }
    // All are woken even when only one can go on: one that is killed on its way must not take the signal
    // along.
    syscall(SYS_futex, &record_->state, FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
}

bool Event::take() {
    const std::atomic_ref state(record_->state);
    return (record_->manual_reset != 0 ? state.load() : state.exchange(0)) != 0;
}

bool Event::wait(std::uint32_t ms) {
    if (file_ && !is_ours(file_)) return false;
    const timespec deadline = deadline_in(ms == kNoLimit ? 0 : ms);
    while (!take()) {
        if (!sleep_on(record_->state, ms == kNoLimit ? nullptr : &deadline)) return take();
    }
    return true;
}

}  // namespace zel::compat
