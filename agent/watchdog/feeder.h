// SPDX-License-Identifier: GPL-3.0-or-later
// The watchdog timer's feeder: the one part of the agent whose mistake resets a server. It is a state machine of five
// states (Hold, page.h) that asks no clock and touches no file. Three laws:
//
//   1. A timer that is not ours is never changed, started again or stopped.
//   2. While the feeder lives and the settings want it, the timer never runs out.
//   3. When the feeder ends without having been told to, it does, with the actions and after the time of the settings.
//
// Whose a running timer is, is known by its setting alone: ours is what the page says. So what the page says is written
// before the timer is set, and who is killed in any moment finds, when it starts again, what it needs to go on.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

#include "page.h"

namespace zel::watchdog {

/// Since the machine was started; goes on while it sleeps, and nobody sets it.
using Moment = std::chrono::milliseconds;

/// What the settings and the machine say at a visit.
struct Orders {
    bool wanted = false;
    bmc::TimerSetting timer = {};
    std::chrono::seconds interval{};
    std::uint32_t generation = 0;  ///< How often the settings had been saved.
    std::string objection = {};    ///< Why it must not be armed although it is wanted.
    std::string remark = {};       ///< What an administrator should know when it is.
    bool operator==(const Orders&) const = default;
};

class Feeder {
  public:
    /// Writes a page; false, with errno set, when that failed.
    using Write = std::function<bool(const Page&)>;

    /// @param page  What was written last; of an earlier run of the machine as Hold::arming, since what runs may have
    ///              been left behind or not.
    Feeder(bmc::Controller& controller, Page page, Write write);

    /// Does what is due: looks at the timer first, always.
    /// @return When it is due again.
    Moment visit(const Orders& orders, Moment now);

    [[nodiscard]] const Page& page() const { return page_; }

  private:
    Moment keep(const Orders& orders, Moment now);
    Moment withdraw(const Orders& orders, Moment now);
    Moment see_running(const bmc::Timer& timer, const Orders& orders, Moment now);
    Moment see_stopped(const bmc::Timer& timer, const Orders& orders, Moment now);
    Moment arm_anew(const Orders& orders, Moment now);
    Moment arm(const Orders& orders, Moment now);
    Moment feed(const Orders& orders, Moment now);
    Moment go_on_with(const Page& before, const std::string& why, const Orders& orders, Moment now);
    Moment stand_down(Hold hold, State state, std::string detail, Moment now);
    Moment without_answer(bmc::TimerAnswer answer, Moment now);

    void tell(const std::string& line);
    void show(State state, std::string detail);
    bool write();

    bmc::Controller& controller_;
    Page page_;
    Page written_;
    Write write_;
    bool first_ = true;          ///< This feeder has not seen the timer yet.
    Moment unanswered_since_{};  ///< 0 while the controller answers.
};

}  // namespace zel::watchdog
