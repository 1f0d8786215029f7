// SPDX-License-Identifier: GPL-3.0-or-later
#include "feeder.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace zel::watchdog {
namespace {

using bmc::TimerAnswer;
using std::chrono::hours;
using std::chrono::seconds;

/// Somebody else's timer is left alone so long before it is looked at again.
constexpr hours kLeftAlone{1};
/// Until an answer that did not come is asked for again: while the timer runs down, and when nothing hangs on it.
constexpr seconds kSoon{1};
constexpr seconds kLater{30};

constexpr const char* kRefused = "the management controller refuses it";
constexpr const char* kForgotten = "the controller had forgotten the timer; armed again";

/// A controller that was restarted has a timer like this: nobody's. Whether it was, its answer to a start tells, which
/// for such a setting does nothing in either case.
bool is_blank(const bmc::TimerSetting& setting) {
    return setting.use == 0 || (setting.countdown == 0 && setting.actions == 0);
}

}  // namespace

Feeder::Feeder(bmc::Controller& controller, Page page, Write write)
    : controller_(controller), page_(std::move(page)), written_(page_), write_(std::move(write)) {}

Moment Feeder::visit(const Orders& orders, Moment now) {
    const Moment next = orders.wanted && orders.objection.empty() ? keep(orders, now) : withdraw(orders, now);
    // What could not be written down is what everybody is told, and what the next feeder goes by.
    return write() ? next : std::min<Moment>(next, now + kLater);
}

Moment Feeder::keep(const Orders& orders, Moment now) {
    const auto look = bmc::look_at_timer(controller_);
    if (look.answer != TimerAnswer::done) return without_answer(look.answer, now);
    unanswered_since_ = {};
    const Moment next =
        look.timer.running ? see_running(look.timer, orders, now) : see_stopped(look.timer, orders, now);
    first_ = false;
    return next;
}

/// It is not to run: ours is stopped, and the stop is looked at, for an answer may be lost.
Moment Feeder::withdraw(const Orders& orders, Moment now) {
    const auto runs = [&](const bmc::TimerLook& look) {
        return look.timer.running && is_held(page_, look.timer.setting);
    };
    if (holds(page_)) {
        auto look = bmc::look_at_timer(controller_);
        if (look.answer == TimerAnswer::done && runs(look)) {
            bmc::set_timer(controller_, look.timer.setting);
            look = bmc::look_at_timer(controller_);
        }
        if (look.answer != TimerAnswer::done || runs(look)) return without_answer(look.answer, now);
    }
    return stand_down(Hold::none, orders.wanted ? State::refused : State::off, orders.objection, now);
}

Moment Feeder::see_running(const bmc::Timer& timer, const Orders& orders, Moment now) {
    if (!is_held(page_, timer.setting)) {
        // Law 1. Who had it before sees it lost; who never had it, refused.
        const bool had_it = holds(page_) || (page_.hold == Hold::taken && page_.state == State::lost);
        return stand_down(Hold::taken, had_it ? State::lost : State::refused, in_use(timer.setting), now);
    }
    // The feeder that set it was killed. It is gone on with at once, for nobody knows when it was last fed.
    if (first_) tell("goes on with the timer that an earlier feeder armed: " + told(timer.setting));
    page_.hold = Hold::armed;
    page_.timer = timer.setting;
    page_.former.reset();
    return timer.setting == orders.timer ? feed(orders, now) : arm(orders, now);
}

Moment Feeder::see_stopped(const bmc::Timer& timer, const Orders& orders, Moment now) {
    constexpr const char* kStopped =
        "stopped by another program or zelctl; switch it off and on again, or restart ZELwdserver, to arm it";
    const bool saved_since = page_.generation != orders.generation;
    if (page_.hold == Hold::stopped && !saved_since)
        return stand_down(Hold::stopped, State::lost, kStopped, now);
    // Nothing was armed: what runs no longer, or never did, is free.
    if (page_.hold != Hold::armed) {
        if (timer.expired && first_)
            tell(std::string("a timer had run out before this start (") + bmc::use_name(timer.setting.use) +
                 ')');
        return arm(orders, now);
    }
    // Nobody fed it for so long, as while the machine slept.
    if (is_held(page_, timer.setting) && timer.expired) {
        tell("the timer has run out: " + told(timer.setting) + "; armed again");
        return arm_anew(orders, now);
    }
    // The controller was restarted and has forgotten it. Anything else is somebody's will.
    if (is_blank(timer.setting)) {
        const TimerAnswer answer = bmc::start_timer(controller_);
        if (answer == TimerAnswer::silent) return without_answer(answer, now);
        if (answer == TimerAnswer::forgotten) {
            tell(kForgotten);
            return arm_anew(orders, now);
        }
    }
    if (saved_since) return arm_anew(orders, now);  // when it had been stopped already, so it is wanted
    return stand_down(Hold::stopped, State::lost, kStopped, now);
}

/// Nothing of ours runs any more: there is none to go on with, should this fail.
Moment Feeder::arm_anew(const Orders& orders, Moment now) {
    page_.hold = Hold::none;
    return arm(orders, now);
}

/// Sets the timer, looks at what the controller made of it, and starts it.
Moment Feeder::arm(const Orders& orders, Moment now) {
    const Page before = page_;
    // Written first: what is killed in between finds the timer to be its own, as it was or as it will be.
    page_.former = holds(page_) ? std::optional(page_.timer) : std::nullopt;
    page_.hold = Hold::arming;
    page_.timer = orders.timer;
    page_.generation = orders.generation;
    if (!write())
        return go_on_with(before, std::string("cannot be noted: ") + std::strerror(errno), orders, now);
    const TimerAnswer set = bmc::set_timer(controller_, orders.timer);
    if (set == TimerAnswer::silent) return without_answer(set, now);
    if (set != TimerAnswer::done) return go_on_with(before, kRefused, orders, now);
    const auto look = bmc::look_at_timer(controller_);
    if (look.answer != TimerAnswer::done) return without_answer(look.answer, now);
    // Either the controller cannot do it, or somebody came in between. Nothing runs that is ours.
    if (look.timer.running || look.timer.setting != orders.timer)
        return stand_down(Hold::taken, State::refused,
                          "the controller made something else of it: " + told(look.timer.setting), now);
    if (!orders.remark.empty()) tell(orders.remark);
    return feed(orders, now);
}

/// One sign of life. The time counts from before the request: later than wanted is what must not be.
Moment Feeder::feed(const Orders& orders, Moment now) {
    const TimerAnswer answer = bmc::start_timer(controller_);
    if (answer == TimerAnswer::forgotten && page_.hold == Hold::armed) {
        tell(kForgotten);
        return arm_anew(orders, now);
    }
    if (answer != TimerAnswer::done) return without_answer(answer, now);
    page_.hold = Hold::armed;
    page_.generation = orders.generation;
    page_.former.reset();
    show(State::armed,
         told(page_.timer) + " without a sign of life" + (orders.remark.empty() ? "" : "; " + orders.remark));
    return now + orders.interval;
}

/// New settings cannot be put in force. What runs by the former ones is fed all the same.
Moment Feeder::go_on_with(const Page& before, const std::string& why, const Orders& orders, Moment now) {
    page_ = before;
    if (page_.hold != Hold::armed) return stand_down(Hold::none, State::refused, why, now);
    Orders former = orders;
    former.timer = page_.timer;
    former.remark = "changed settings are not in force: " + why;
    return feed(former, now);
}

Moment Feeder::stand_down(Hold hold, State state, std::string detail, Moment now) {
    page_.hold = hold;
    page_.former.reset();
    show(state, std::move(detail));
    return now + kLeftAlone;
}

/// Nothing is given up for it: the timer may run all the same, and be ours.
Moment Feeder::without_answer(TimerAnswer answer, Moment now) {
    const bool silent = answer == TimerAnswer::silent;
    const char* const why = silent ? "the management controller does not answer" : kRefused;
    if (unanswered_since_ == Moment{}) unanswered_since_ = now;
    if (!holds(page_)) {
        show(State::refused, why);
        return now + (silent ? Moment(kLater) : Moment(kLeftAlone));
    }
    const bool over = now - unanswered_since_ > std::chrono::milliseconds(page_.timer.countdown * 100);
    if (over) show(State::lost, why);
    return now + (over ? kLater : kSoon);
}

void Feeder::tell(const std::string& line) {
    ++page_.told_last;
    page_.told.push_back(line);
}

void Feeder::show(State state, std::string detail) {
    page_.state = state;
    page_.detail = std::move(detail);
}

bool Feeder::write() {
    if (page_.told.size() > kMostTold) page_.told.erase(page_.told.begin(), page_.told.end() - kMostTold);
    if (page_ == written_) return true;
    if (!write_(page_)) return false;
    written_ = page_;
    return true;
}

}  // namespace zel::watchdog
