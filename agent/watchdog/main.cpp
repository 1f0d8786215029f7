// SPDX-License-Identifier: GPL-3.0-or-later
// ZELwdserver feeds the management controller's watchdog timer. A process of its own, that reads one record of settings,
// talks to the controller, and does nothing else: no disk, mount, journal or socket can hold it up.
#include <poll.h>
#include <sys/inotify.h>
#include <sys/mman.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <sys/timerfd.h>
#include <systemd/sd-daemon.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <optional>
#include <string_view>
#include <thread>

#include "base/own_folder.h"
#include "base/paths.h"
#include "orders.h"
#include "say.h"
#include "shutdown.h"
#include "store/registry.h"

namespace zel::watchdog {
namespace {

constexpr const char* kUsage =
    "usage: ZELwdserver [--foreground | --shutdown | --take-back | --help | --version]\n";
/// The longest sleep: the service manager takes a feeder that says nothing for longer than WatchdogSec= for hung.
constexpr std::chrono::seconds kLongestSleep{30};
/// Where the settings cannot be told of by the kernel, and while they cannot be read.
constexpr std::chrono::seconds kShortestInterval{30};

Moment now() {
    timespec time{};
    ::clock_gettime(CLOCK_BOOTTIME, &time);
    return std::chrono::seconds(time.tv_sec) +
           std::chrono::duration_cast<Moment>(std::chrono::nanoseconds(time.tv_nsec));
}

/// What wakes the feeder.
class Waker {
  public:
    enum class Why : std::uint8_t {
        time,
        settings,   ///< They may have changed.
        look,       ///< Somebody wants the timer looked at now.
        hand_over,  ///< Another feeder goes on with it.
        end,
    };

    Waker() {
        sigset_t signals;
        sigemptyset(&signals);
        for (const int one : {SIGTERM, SIGINT, SIGHUP, SIGUSR1})
            sigaddset(&signals, one);
        ::sigprocmask(SIG_BLOCK, &signals, nullptr);
        signals_ = base::UniqueFd(::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
        timer_ = base::UniqueFd(::timerfd_create(CLOCK_BOOTTIME, TFD_CLOEXEC | TFD_NONBLOCK));
        changes_ = base::UniqueFd(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
        ::inotify_add_watch(changes_.get(), base::settings_folder().c_str(),
                            IN_MOVED_TO | IN_CLOSE_WRITE | IN_DELETE);
    }
    explicit operator bool() const { return signals_ && timer_; }

    /// Sleeps until then, by the clock that goes on while the machine sleeps.
    Why sleep_until(Moment until) {
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(until);
        const std::chrono::nanoseconds rest = until - seconds;
        const itimerspec when{.it_interval = {}, .it_value = {seconds.count(), rest.count()}};
        ::timerfd_settime(timer_.get(), TFD_TIMER_ABSTIME, &when, nullptr);
        std::array<pollfd, 3> events{
            {{signals_.get(), POLLIN, 0}, {changes_.get(), POLLIN, 0}, {timer_.get(), POLLIN, 0}}};
        ::poll(events.data(), events.size(), -1);
        if (events[0].revents != 0) return signal();
        return events[1].revents != 0 && drain() ? Why::settings : Why::time;
    }

  private:
    Why signal() {
        signalfd_siginfo info{};
        if (::read(signals_.get(), &info, sizeof info) != sizeof info) return Why::time;
        if (info.ssi_signo == SIGHUP) return Why::look;
        return info.ssi_signo == SIGUSR1 ? Why::hand_over : Why::end;
    }

    /// Which file it was does not matter: few are written there, and reading costs little.
    bool drain() {
        std::array<char, 4096> buffer{};
        bool any = false;
        while (::read(changes_.get(), buffer.data(), buffer.size()) > 0)
            any = true;
        return any;
    }

    base::UniqueFd signals_, timer_, changes_;
};

/// The settings as they were read last: what cannot be read changes nothing.
class Desk {
  public:
    Desk(const std::optional<bmc::Settings>& controller, const Page& page) : controller_(controller) {
        // Settings that cannot be read at the start either: what runs is gone on with.
        if (holds(page))
            orders_ = {.wanted = true,
                       .timer = page.timer,
                       .interval = kShortestInterval,
                       .generation = page.generation};
        else
            orders_ = {.wanted = true, .objection = "the settings cannot be read"};
    }
    /// True when they have changed.
    bool read() {
        auto orders = watchdog_orders(controller_);
        if (!orders || (known_ && *orders == orders_)) return false;
        known_ = true;
        orders_ = *std::move(orders);
        return true;
    }
    [[nodiscard]] const Orders& orders() const { return orders_; }

  private:
    const std::optional<bmc::Settings>& controller_;
    Orders orders_;
    bool known_ = false;
};

/// Makes sure that this is the only feeder, and says which process it is. No descriptor, and said, when it is not.
base::UniqueFd take_lock() {
    constexpr std::chrono::seconds kPatience{3};  // one that was killed in a request is gone a little later
    auto file = base::take_own_lock(feeder_lock(), kPatience);
    if (!file) {
        say(errno == ETIMEDOUT ? "ZELwdserver is already running"
                               : feeder_lock() + ": " + std::strerror(errno));
        return file;
    }
    const std::string id = std::to_string(::getpid()) + '\n';
    if (::ftruncate(file.get(), 0) != 0 || !base::write_all(file.get(), id))
        say("the lock does not hold my number");
    return file;
}

/// Says what has changed since, here and to the service manager.
void say_news(const Page& before, const Page& page) {
    for (std::size_t i = 0; i < page.told.size(); ++i) {
        const std::size_t number = page.told_last - (page.told.size() - 1 - i);
        if (number > before.told_last) say(page.told[i]);
    }
    if (before.state == page.state && before.detail == page.detail) return;
    const std::string line = state_name(page.state) + (page.detail.empty() ? "" : ": " + page.detail);
    say(line);
    ::sd_notify(0, ("STATUS=" + line).c_str());
}

/// The timer is stopped before the end, which may take some attempts.
int stop(Feeder& feeder, bmc::Controller& controller) {
    constexpr std::chrono::seconds kLongest{30};
    ::sd_notify(0, "STOPPING=1");
    const Moment end = now() + kLongest;
    while (true) {
        const Page before = feeder.page();
        feeder.visit({}, now());
        controller.end_session();
        say_news(before, feeder.page());
        if (feeder.page().hold == Hold::none) return 0;
        if (now() > end) break;
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
    }
    say("the timer cannot be stopped and runs out: " + told(feeder.page().timer));
    return 1;
}

/// systemd opened the devices to us that were there when we started: for one that came later it has to start us again.
bool has_appeared(const std::optional<bmc::Settings>& controller, bool was_there) {
    return !was_there && controller && bmc::is_present(*controller) &&
           std::getenv("NOTIFY_SOCKET") != nullptr;
}

int feed_until_the_end() {
    const base::UniqueFd lock = take_lock();
    Waker waker;
    if (!lock || !waker) return 1;
    // Memory that was swapped out comes back slowly when it is needed most.
    ::mlockall(MCL_CURRENT | MCL_FUTURE | MCL_ONFAULT);
    const auto settings = feeder_controller();
    const bool was_there = settings && bmc::is_present(*settings);
    bmc::Controller controller(settings.value_or(bmc::Settings()));  // without any, nothing is asked
    Feeder feeder(controller, first_page(), write_page_and_rest);
    Desk desk(settings, feeder.page());
    ::sd_notify(0, "READY=1");
    for (Moment next{};;) {
        ::sd_notify(0, "WATCHDOG=1");
        if (has_appeared(settings, was_there)) return 0;
        if (desk.read() || next <= now()) {
            const Page before = feeder.page();
            next = feeder.visit(desk.orders(), now());
            controller.end_session();  // controllers have few, and forget them
            say_news(before, feeder.page());
        }
        switch (waker.sleep_until(std::min<Moment>(next, now() + kLongestSleep))) {
            case Waker::Why::time:
            case Waker::Why::settings:
                break;
            case Waker::Why::look:
                next = {};
                break;
            case Waker::Why::hand_over:
                say("another feeder goes on");
                return 0;
            case Waker::Why::end:
                return stop(feeder, controller);
        }
    }
}

int run(std::string_view option) {
    ::umask(S_IRWXG | S_IRWXO);
    std::signal(SIGPIPE, SIG_IGN);
    for (const std::string& folder : {base::settings_folder(), base::watchdog_folder()}) {
        if (base::make_private_dir(folder)) continue;
        say(folder + ": " + std::strerror(errno));
        return 1;
    }
    if (option == "--shutdown") return arm_for_shutdown();
    return option == "--take-back" ? take_back() : feed_until_the_end();
}

}  // namespace
}  // namespace zel::watchdog

int main(int argc, char** argv) try {
    const std::string_view option = argc == 2 ? argv[1] : "";
    if (option == "--help") {
        std::fputs(zel::watchdog::kUsage, stdout);
        return 0;
    }
    if (option == "--version") {
        std::puts("ZELwdserver " ZEL_VERSION);
        return 0;
    }
    if (argc > 1 && option != "--foreground" && option != "--shutdown" && option != "--take-back") {
        std::fputs(zel::watchdog::kUsage, stderr);
        return 2;
    }
    return zel::watchdog::run(option);
} catch (const std::exception& error) {
    std::fprintf(stderr, "ZELwdserver: %s\n", error.what());
    return 1;
}
