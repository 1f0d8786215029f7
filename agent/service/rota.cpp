// SPDX-License-Identifier: GPL-3.0-or-later
#include "rota.h"

#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>

#include "base/file_io.h"
#include "log.h"
#include "zel/tracelog.h"

namespace zel::service {
namespace {

using std::chrono::milliseconds;
using Clock = Rota::Clock;

constexpr milliseconds kLongestEnd{1500};
/// What takes longer is left to the thread that does it.
constexpr milliseconds kPatience{40};

struct Entry {
    Rota::Task task;
    Clock::time_point due{};
    bool runs = false;
    bool woken = false;

    [[nodiscard]] bool is_due(Clock::time_point now) const { return !runs && (woken || due <= now); }
};

}  // namespace

/// What the threads may still use when they outlive the object. One of them is the leader, who does what is due; one
/// is the deputy, who sleeps until an alarm tells that the leader has been at one thing for too long; and there are
/// those who were leaders once and are still at it.
class Rota::Shared : public std::enable_shared_from_this<Shared> {
  public:
    explicit Shared(std::vector<Task> tasks) : alarm_(::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC)) {
        if (!alarm_) throw std::system_error(errno, std::generic_category(), "timerfd");
        for (Task& task : tasks)
            entries_.push_back({.task = std::move(task)});
    }

    void begin() {
        const std::lock_guard lock(mutex_);
        start([this] { lead(); });
        start([this] { stand_by(); });
    }

    /// False when a step goes on.
    bool end() {
        stop_.request_stop();
        std::unique_lock lock(mutex_);
        set_alarm(milliseconds(0));
        const bool ended = changed_.wait_for(lock, kLongestEnd, [this] { return threads_ == 0; });
        for (const Entry& entry : entries_)
            if (entry.runs) log(entry.task.name + ": it does not answer; ending without it");
        if (ended) entries_.clear();
        return ended;
    }

    void wake(std::string_view name) {
        const std::lock_guard lock(mutex_);
        for (Entry& entry : entries_)
            if (name.empty() || entry.task.name == name) entry.woken = true;
        nudge();
    }

  private:
    /// With the mutex held, as for all that does not take it itself.
    template <class Work>
    void start(Work work) {
        std::thread([self = shared_from_this(), work] {
            work();
            const std::lock_guard lock(self->mutex_);
            --self->threads_;
            self->changed_.notify_all();
        }).detach();
        ++threads_;
    }

    /// Has the leader look again at what is due.
    void nudge() {
        nudged_ = true;
        changed_.notify_all();
    }

    /// None with 0. The end is told the deputy by an alarm, which nobody takes back.
    void set_alarm(milliseconds rest) {
        if (stop_.stop_requested()) rest = milliseconds(1);
        const itimerspec time{.it_interval = {},
                              .it_value = {.tv_sec = 0, .tv_nsec = rest.count() * 1'000'000}};
        ::timerfd_settime(alarm_.get(), 0, &time, nullptr);
    }

    void stand_by() {
        std::uint64_t times = 0;
        while (::read(alarm_.get(), &times, sizeof times) > 0 || errno == EINTR) {
            {
                const std::lock_guard lock(mutex_);
                if (stop_.stop_requested()) return;
                if (!began_ || Clock::now() < *began_ + kPatience) continue;
                take_over();
            }
            return lead();
        }
        log(std::string("timerfd: ") + std::strerror(errno));
    }

    void take_over() {
        ++term_;
        began_.reset();
        try {
            start([this] { stand_by(); });
        } catch (const std::system_error& error) {
            log(std::string("no thread to stand by: ") + error.what());
        }
    }

    /// Does what is due, until another thread has taken over.
    void lead() {
        std::unique_lock lock(mutex_);
        const unsigned long term = term_;
        while (term == term_ && !stop_.stop_requested()) {
            const auto now = Clock::now();
            const auto due =
                std::ranges::find_if(entries_, [now](const Entry& one) { return one.is_due(now); });
            if (due != entries_.end()) {
                run(*due, lock, term);
            } else {
                wait(lock);
            }
        }
        if (term != term_) nudge();  // what it did may be due again
    }

    void run(Entry& entry, std::unique_lock<std::mutex>& lock, unsigned long term) {
        entry.runs = true;
        entry.woken = false;
        began_ = Clock::now();
        set_alarm(kPatience);
        lock.unlock();
        const Clock::time_point due = due_after(entry.task);
        lock.lock();
        entry.runs = false;
        entry.due = due;
        if (term != term_) return;
        began_.reset();
        set_alarm(milliseconds(0));
    }

    Clock::time_point due_after(const Task& task) {
        TraceLogSetThrName(task.name.c_str());
        try {
            return task.step(stop_.get_token());
        } catch (const std::exception& error) {
            log(task.name + ": " + error.what() + "; trying again in a minute");
            return Rota::meeting(std::chrono::minutes(1));
        }
    }

    void wait(std::unique_lock<std::mutex>& lock) {
        const auto now = Clock::now();
        auto next = kNotByItself;
        for (const Entry& entry : entries_)
            if (!entry.runs) next = std::min(next, entry.due);
        // No longer than a day: the library adds to what it is given.
        const auto rest = std::min<Clock::duration>(next - now, std::chrono::hours(24));
        changed_.wait_for(lock, stop_.get_token(), rest, [this] { return nudged_; });
        nudged_ = false;
    }

    std::mutex mutex_;
    std::condition_variable_any changed_;
    std::stop_source stop_;
    base::UniqueFd alarm_;
    std::vector<Entry> entries_;
    std::optional<Clock::time_point> began_;  ///< The leader's step; nothing while it does none.
    bool nudged_ = false;
    unsigned long term_ = 0;
    int threads_ = 0;
};

Rota::Rota(std::vector<Task> tasks) : shared_(std::make_shared<Shared>(std::move(tasks))) {
    shared_->begin();
}

Rota::~Rota() {
    if (shared_->end()) return;
    // Nothing that a thread uses may be taken down under it.
    ::on_exit(
        [](int status, void*) {
            std::fflush(nullptr);
            ::_exit(status);
        },
        nullptr);
}

void Rota::wake(std::string_view name) {
    shared_->wake(name);
}

Clock::time_point Rota::meeting(milliseconds interval) {
    return Clock::time_point((Clock::now().time_since_epoch() / interval + 1) * interval);
}

}  // namespace zel::service
