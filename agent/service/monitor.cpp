// SPDX-License-Identifier: GPL-3.0-or-later
#include "monitor.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <map>
#include <mutex>
#include <set>
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
#include "watchdog/page.h"

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
        const std::uint64_t known = tell::load_state(base::service_folder(), judge_, kept_, log);
        for (const tell::Event& event : log_.open(known)) {
            follow(event);
            tell::send_to_journal(event);  // whose telling may have been cut short
        }
        if (log_.last() > known) save();
    }
    ~Told() {
        if (positions_moved_) save();
    }
    Told(const Told&) = delete;
    Told& operator=(const Told&) = delete;

    /// Lets a sampler go on where the one before it ended.
    void resume(const std::string& resource, watch::Sampler& sampler) {
        const std::lock_guard lock(mutex_);
        sampler.restore(kept_[resource], entries_told_[resource]);
    }

    /// Has the next look at a resource begin anew with an object.
    void start_again(const std::string& resource, const std::string& object) {
        const std::lock_guard lock(mutex_);
        to_start_again_[resource].push_back(object);
    }
    std::vector<std::string> take_to_start_again(const std::string& resource) {
        const std::lock_guard lock(mutex_);
        return std::exchange(to_start_again_[resource], {});
    }

    /// What a look found.
    struct Found {
        std::vector<watch::Reading> readings;
        std::vector<watch::Entry> entries;
        watch::Kept kept;
        std::vector<std::string> started_again;  ///< Objects.
    };
    void take(const std::string& resource, Found found) {
        const std::lock_guard lock(mutex_);
        const watch::Now now = watch::now();
        const std::size_t known = judge_.things().size();
        found.readings.resize(std::min(found.readings.size(), kMostObjects));
        auto transitions = judge_.take(resource, found.readings, now);
        for (const std::string& object : found.started_again)
            std::ranges::move(judge_.reset(resource, object, now), std::back_inserter(transitions));
        for (watch::Entry& entry : found.entries)
            transitions.push_back(transition_of(resource, std::move(entry)));
        for (const auto& transition : transitions)
            if (may_tell(resource, now)) tell(tell::event_of(transition, now.wall));
        log_.flush();
        const bool remembers_more = remember(resource, std::move(found.kept));
        if (!transitions.empty() || remembers_more) save();
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
        const auto watchdog = watchdog::what_is_known();
        return {.version = ZEL_VERSION,
                .controller = !asked                 ? "none"
                              : controller.answers() ? "answering"
                                                     : "silent",
                .requests = controller.requests(),
                .watchdog = watchdog::state_name(watchdog.state),
                .watchdog_detail = watchdog.detail};
    }

    static watch::Transition transition_of(const std::string& resource, watch::Entry entry) {
        watch::Transition transition{
            .kind = watch::Transition::Kind::entry, .resource = resource, .reading = {}};
        transition.reading.object = std::move(entry.object);
        transition.reading.id = std::move(entry.id);
        transition.reading.about = std::move(entry.text);
        return transition;
    }

    /// As if this had been told just now.
    void follow(const tell::Event& event) {
        using Kind = watch::Transition::Kind;
        if (event.what == Kind::entry)
            entries_told_[event.resource].insert(settings::unescape_name(event.object) + ' ' + event.id);
        else if (event.what != Kind::test)
            judge_.follow({event.resource, settings::unescape_name(event.object), event.kind}, event.to,
                          event.what == Kind::gone);
    }

    /// Positions alone are written with what comes next, or at the end: what lies behind them is read again.
    /// @return Whether what is remembered is to be written.
    bool remember(const std::string& resource, watch::Kept now) {
        watch::Kept& before = kept_[resource];
        const bool more = before.facts != now.facts || (before.position.empty() && !now.position.empty());
        positions_moved_ = positions_moved_ || before.position != now.position;
        before = std::move(now);
        return more;
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
        positions_moved_ = false;
        if (tell::save_state(base::service_folder(), judge_, kept_, log_.last())) return;
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
    tell::AllKept kept_;
    std::map<std::string, std::set<std::string>> entries_told_;  ///< After the state was written.
    std::map<std::string, std::vector<std::string>> to_start_again_;
    bool positions_moved_ = false;
    Rota::Clock::time_point status_written_ = Rota::Clock::now() - kStatusPause;
    bool status_is_old_ = false;
    bool status_is_wrong_ = false;
    bool status_failed_ = false;
};

namespace {

/// A look at a resource.
Rota::Task watching(const std::shared_ptr<Told>& told, const watch::SamplerRow& row) {
    const std::shared_ptr<watch::Sampler> sampler(row.make());
    told->resume(row.resource, *sampler);
    return {row.resource, [told, resource = std::string(row.resource), sampler](const std::stop_token& stop) {
                const bmc::RequestLimit limit(stop);
                auto anew = told->take_to_start_again(resource);
                for (const std::string& object : anew)
                    sampler->start_again(object);
                auto readings = sampler->look(watch::now());
                told->take(resource, {.readings = std::move(readings),
                                      .entries = sampler->entries(),
                                      .kept = sampler->keep(),
                                      .started_again = std::move(anew)});
                return Rota::meeting(sampler->interval());
            }};
}

/// All of them, and last what writes down what they found.
std::vector<Rota::Task> tasks(const std::shared_ptr<Told>& told) {
    std::vector<Rota::Task> all{controller_watch()};
    for (const watch::SamplerRow& row : watch::samplers())
        all.push_back(watching(told, row));
    all.push_back({kStatusTask, [told](const std::stop_token&) {
                       bmc::controller().end_session();  // all that were due have asked in one
                       return told->refresh_status();
                   }});
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

void Monitor::start_again(const std::string& resource, const std::string& object) {
    told_->start_again(resource, object);
    rota_.wake(resource);
}

void Monitor::look_at(std::string_view resource) {
    rota_.wake(resource);
}

}  // namespace zel::service
