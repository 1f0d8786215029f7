// SPDX-License-Identifier: GPL-3.0-or-later
// How regularly the watchdog timer is fed, and what that asks of the controller, while 512 sensors are read by the service
// and every processor is busy:
//   feeder_bench [MINUTES]   for each of two intervals, three by default
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <thread>

#include "controllers.h"

namespace {

using bench::AgentService;
using bench::Controller;
using std::chrono::seconds;

/// A child process that lives as long as this.
class Child {
  public:
    template <class Run>
    explicit Child(Run run) : id_(::fork()) {
        if (id_ != 0) return;
        run();
        ::_exit(1);
    }
    ~Child() {
        ::kill(id_, SIGTERM);
        ::waitpid(id_, nullptr, 0);
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    [[nodiscard]] pid_t id() const { return id_; }

  private:
    pid_t id_;
};

/// Seconds between one start of the timer and the next, by the controller's clock.
std::vector<double> gaps(const AgentService& agent) {
    std::ifstream file(agent.folder() / "simulator" / "started");
    std::vector<double> gaps;
    double last = 0;
    for (double ms = 0, countdown = 0; file >> ms >> countdown; last = ms)
        if (last > 0) gaps.push_back((ms - last) / 1000);
    return gaps;
}

void measure(int interval, seconds span) {
    AgentService agent;
    agent.stop_service();
    Controller controller(agent, zel::simulator::many_sensors(384, 128), "watchdog_over_lan=true\n");
    agent.write_file("state/registry.conf",
                     "[SOFTWARE/QUD/ZELAgent/Watchdog]\nHangEnable=dword:1\nInterval=dword:" +
                         std::to_string(interval) + "\nNotedGeneration=dword:0\nGeneration=dword:1\n");
    agent.start_service();
    std::vector<std::unique_ptr<Child>> hogs;
    for (unsigned i = 0; i < std::thread::hardware_concurrency(); ++i)
        hogs.push_back(std::make_unique<Child>([] {
            for (volatile bool on = true; on;) {
            }
        }));
    const Child feeder([] { ::execl(FEEDER_PROGRAM, FEEDER_PROGRAM, "--foreground", nullptr); });
    std::this_thread::sleep_for(span);
    const double minutes = static_cast<double>(span.count()) / 60;
    const auto requests = controller.all_requests();
    const auto own = std::ranges::count_if(
        requests, [](const std::string& one) { return one.starts_with("06/2") && one[4] != '0'; });
    const std::string what =
        "watchdog timer fed each " + std::to_string(interval) + " s beside 512 sensors, processors busy: ";
    const auto all = gaps(agent);
    const double longest = all.empty() ? 1e9 : *std::ranges::max_element(all);
    bench::print_ratio(what + "longest of " + std::to_string(all.size()) + " gaps", {longest}, "allowed",
                       {interval + 1.0}, "s", 1.0);
    bench::print_value(what + "requests a minute", {static_cast<double>(own) / minutes}, "");
    bench::print_value(what + "resident memory", {bench::resident_kb(feeder.id())}, "kB");
}

}  // namespace

int main(int argc, char** argv) try {
    const int minutes = argc > 1 ? std::atoi(argv[1]) : 3;
    for (const int interval : {30, 60})
        measure(interval, std::chrono::minutes(minutes));
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "feeder_bench: %s\n", error.what());
    return 1;
}
