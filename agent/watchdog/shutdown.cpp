// SPDX-License-Identifier: GPL-3.0-or-later
#include "shutdown.h"

#include <cerrno>
#include <cstring>
#include <thread>

#include "base/own_folder.h"
#include "left_behind.h"
#include "orders.h"
#include "say.h"

namespace zel::watchdog {
namespace {

constexpr int kAttempts = 5;
constexpr std::chrono::seconds kPause{1};

/// One attempt. Nothing while the controller does not answer.
std::optional<bool> try_to_arm(bmc::Controller& controller, const bmc::TimerSetting& wanted) {
    auto look = bmc::look_at_timer(controller);
    if (look.answer != bmc::TimerAnswer::done) return std::nullopt;
    // It may be the feeder's, which was killed, or the very one that is wanted, when an answer was lost.
    const bool ours = look.timer.setting == wanted || is_held(read_page(), look.timer.setting);
    if (look.timer.running && !ours) {
        say("shutdown: no timer is armed: " + in_use(look.timer.setting));
        return false;
    }
    if (bmc::set_timer(controller, wanted) != bmc::TimerAnswer::done) return std::nullopt;
    look = bmc::look_at_timer(controller);
    if (look.answer != bmc::TimerAnswer::done) return std::nullopt;
    if (look.timer.setting != wanted) {
        say("shutdown: the controller made something else of it: " + told(look.timer.setting));
        return false;
    }
    if (bmc::start_timer(controller) != bmc::TimerAnswer::done) return std::nullopt;
    return true;
}

}  // namespace

Page first_page() {
    Page page = read_page();
    const auto left = read_shutdown_timer();
    if (page.hold != Hold::none || !left || left->boot == page.boot) return page;
    page.hold = Hold::arming;
    page.timer = left->setting;
    return page;
}

bool write_page_and_rest(const Page& page) {
    if (!write_page(page)) return false;
    const base::ErrnoKeeper keeper;
    const auto left = read_shutdown_timer();
    if (!holds(page)) {
        forget_shutdown_timer();
    } else if (!left || left->setting != page.timer || left->boot != page.boot) {
        keep_shutdown_timer({page.timer, page.boot});
    }
    return true;
}

int arm_for_shutdown() {
    const auto settings = feeder_controller();
    const auto orders = shutdown_orders(settings);
    if (!orders || !orders->wanted) return 0;
    if (!orders->objection.empty()) {
        say("shutdown: no timer is armed: " + orders->objection);
        return 0;
    }
    if (!orders->remark.empty()) say("shutdown: " + orders->remark);
    // Before it is set: a timer that nobody knew for ours would end the next run of the machine.
    if (!keep_shutdown_timer({orders->timer, base::boot_id()})) {
        say(std::string("shutdown: no timer is armed, for it cannot be noted: ") + std::strerror(errno));
        return 1;
    }
    bmc::Controller controller(*settings);
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        if (attempt > 0) std::this_thread::sleep_for(kPause);
        const auto armed = try_to_arm(controller, orders->timer);
        if (!armed) continue;
        if (*armed) say("shutdown: armed: " + told(orders->timer));
        return 0;
    }
    say("shutdown: no timer is armed: the management controller does not answer");
    return 1;
}

int take_back() {
    const auto lock = base::take_own_lock(feeder_lock(), std::chrono::milliseconds(0));
    if (!lock) return errno == ETIMEDOUT ? 0 : 1;
    const auto settings = feeder_controller();
    Page page = first_page();
    if (page.hold == Hold::none) return 0;
    if (!settings) return 1;
    bmc::Controller controller(*settings);
    Feeder feeder(controller, page, write_page_and_rest);
    feeder.visit({}, Moment{1});
    if (feeder.page().hold == Hold::none) return 0;
    say("what was left behind cannot be stopped: " + told(page.timer));
    return 1;
}

}  // namespace zel::watchdog
