// SPDX-License-Identifier: GPL-3.0-or-later
#include "monitor.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <span>

#include "base/paths.h"
#include "bmc/controller.h"
#include "bmc/request_limit.h"
#include "controller_watch.h"
#include "log.h"
#include "settings/threshold_file.h"
#include "tell/event_log.h"
#include "tell/journal.h"
#include "tell/kept_state.h"
#include "tell/status.h"
#include "watch/sampler.h"

namespace zel::service {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kStatusPause{1000};
/// More of a resource in one span is a flood: it is counted, and the levels stand in the status.
constexpr int kMostEvents = 200;
constexpr milliseconds kFloodSpan = std::chrono::minutes(10);
constexpr std::size_t kMostObjects = 4096;
constexpr const char* kStatusTask = "status";

}  // namespace

/// Judge, log, state and status, for all threads; it lives as long as one of them does.
class Told {
  public:
    explicit Told(std::function<void(const std::string&)> publish)
        : publish_(std::move(publish)), log_(base::service_folder(), log) {
        const std::uint64_t known = tell::load_state(base::service_folder(), judge_, log);
        for (const tell::Event& event : log_.open(known)) {
            if (event.what != watch::Transition::Kind::test)
                judge_.follow({event.resource, settings::unescape_name(event.object), event.kind}, event.to,
                              event.what == watch::Transition::Kind::gone);
            tell::send_to_journal(event);  // whose telling may have been cut short
        }
        if (log_.last() > known) save();
    }

    void take(const std::string& resource, std::span<const watch::Reading> readings) {
        const std::lock_guard lock(mutex_);
        const watch::Now now = watch::now();
        const std::size_t known = judge_.things().size();
        const auto transitions =
            judge_.take(resource, readings.first(std::min(readings.size(), kMostObjects)), now);
        for (const auto& transition : transitions)
            if (may_tell(resource, now)) tell(tell::event_of(transition, now.wall));
        log_.flush();
        if (!transitions.empty()) save();
        status_is_old_ = true;
        status_is_wrong_ = status_is_wrong_ || !transitions.empty() || judge_.things().size() != known;
        on_old_status_();
    }

    /// Tells an event that says that it is none.
    void test() {
        const std::lock_guard lock(mutex_);
        watch::Reading reading;
        reading.object = "test";
        tell(tell::event_of(
            {.kind = watch::Transition::Kind::test, .resource = "settings", .reading = reading},
            watch::now().wall));
        log_.flush();
        save();
    }

    /// What is done when there is something to write into the status.
    void on_old_status(std::function<void()> done) {
        const std::lock_guard lock(mutex_);
        on_old_status_ = std::move(done);
        on_old_status_();
    }

    /// There is nobody any more to be told.
    void stop_publishing() {
        const std::lock_guard lock(mutex_);
        publish_ = [](const std::string&) {};
        on_old_status_ = [] {};
    }

    /// Writes the status, when it is due. Where nothing but values changed just after it was written, nobody wakes up
    /// for it: the next look writes them.
    /// @return When it is due.
    Rota::Clock::time_point refresh_status() {
        const std::lock_guard lock(mutex_);
        const auto due = status_written_ + kStatusPause;
        if (!status_is_old_) return Rota::kNotByItself;
        if (Rota::Clock::now() < due) return status_is_wrong_ ? due : Rota::kNotByItself;
        const bool written = tell::write_status(base::public_folder(), judge_, facts(), watch::now().wall);
        if (!written && !status_failed_) log(std::string(tell::kStatusName) + ": " + std::strerror(errno));
        status_failed_ = !written;
        status_is_old_ = status_is_wrong_ = false;
        status_written_ = Rota::Clock::now();
        return Rota::kNotByItself;
    }

  private:
    /// Of a controller that was not asked anything nothing is known.
    static tell::StatusFacts facts() {
        const bmc::Controller& controller = bmc::controller();
        const bool asked = controller.requests() > 0;
        return {.version = ZEL_VERSION,
                .controller = !asked                 ? "none"
                              : controller.answers() ? "answering"
                                                     : "silent",
                .requests = controller.requests(),
                .watchdog_detail = "not armed by this version"};
    }

    struct Flood {
        milliseconds began{};
        int events = 0;
    };

    void tell(tell::Event event) {
        log_.add(event);
        tell::send_to_journal(event);
        publish_(tell::to_line(event));
    }

    void save() {
        if (tell::save_state(base::service_folder(), judge_, log_.last())) return;
        log(std::string("state.json: ") + std::strerror(errno));
    }

    bool may_tell(const std::string& resource, const watch::Now& now) {
        Flood& flood = floods_[resource];
        if (now.since_boot - flood.began >= kFloodSpan) {
            if (flood.events > kMostEvents)
                log(resource + ": events left out: " + std::to_string(flood.events - kMostEvents));
            flood = {.began = now.since_boot};
        }
        return ++flood.events <= kMostEvents;
    }

    std::mutex mutex_;
    std::function<void(const std::string&)> publish_;
    std::function<void()> on_old_status_ = [] {};
    watch::Judge judge_;
    tell::EventLog log_;
    std::map<std::string, Flood> floods_;
    Rota::Clock::time_point status_written_ = Rota::Clock::now() - kStatusPause;
    bool status_is_old_ = false;
    bool status_is_wrong_ = false;
    bool status_failed_ = false;
};

namespace {

/// A look at a resource.
Rota::Task watching(const std::shared_ptr<Told>& told, const watch::SamplerRow& row) {
    return {row.resource,
            [told, resource = std::string(row.resource),
             sampler = std::shared_ptr<watch::Sampler>(row.make())](const std::stop_token& stop) {
                const bmc::RequestLimit limit(stop);
                const auto readings = sampler->look(watch::now());
                told->take(resource, readings);
                return Rota::meeting(sampler->interval());
            }};
}

/// All of them, and last what writes down what they found.
std::vector<Rota::Task> tasks(const std::shared_ptr<Told>& told) {
    std::vector<Rota::Task> all{controller_watch()};
    for (const watch::SamplerRow& row : watch::samplers())
        all.push_back(watching(told, row));
    all.push_back({kStatusTask, [told](const std::stop_token&) { return told->refresh_status(); }});
    return all;
}

}  // namespace

Monitor::Monitor(std::function<void(const std::string&)> publish)
    : told_(std::make_shared<Told>(std::move(publish))), rota_(tasks(told_)) {
    told_->on_old_status([this] { rota_.wake(kStatusTask); });
}

/// A thread that hangs may come back when there is nobody any more to publish to.
Monitor::~Monitor() {
    told_->stop_publishing();
}

void Monitor::test_telling() {
    told_->test();
}

void Monitor::look_at(std::string_view resource) {
    rota_.wake(resource);
}

}  // namespace zel::service
