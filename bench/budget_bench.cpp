// SPDX-License-Identifier: GPL-3.0-or-later
// What watching a server of some size costs, beside the programs that people have cron ask the sensors with:
//   budget_bench [MINUTES]   three by default
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "controllers.h"
#include "made_up_machine.h"

namespace {

namespace fs = std::filesystem;
using bench::AgentService;
using bench::Controller;
using bench::Peer;
using std::chrono::seconds;

constexpr int kDisks = 20;
constexpr int kMounts = 20;
constexpr int kInterfaces = 4;

/// What a process used so far.
struct Used {
    double cpu_ms = 0;
    double wakes = 0;  ///< Times that it went to sleep.
};

Used used_by(pid_t process) {
    const fs::path folder = "/proc/" + std::to_string(process);
    std::ifstream stat(folder / "stat");
    std::string text(std::istreambuf_iterator<char>(stat), {});
    std::istringstream fields(text.substr(text.rfind(')') + 2));
    Used used;
    std::string field;
    for (int number = 3; number <= 17 && fields >> field; ++number)
        if (number >= 14)
            used.cpu_ms += std::stod(field) * 1000 / static_cast<double>(::sysconf(_SC_CLK_TCK));
    for (const auto& task : fs::directory_iterator(folder / "task")) {
        std::ifstream status(task.path() / "status");
        for (std::string line; std::getline(status, line);)
            if (line.starts_with("voluntary_ctxt_switches:")) used.wakes += std::stod(line.substr(24));
    }
    return used;
}

/// Lines of agent.conf.
std::string machine(const AgentService& agent) {
    const fs::path net = agent.folder() / "net";
    for (int i = 0; i < kInterfaces; ++i) {
        const fs::path interface = net / ("eth" + std::to_string(i));
        fs::create_directories(interface / "device");
        fs::create_directories(interface / "statistics");
        for (const char* name :
             {"rx_packets", "tx_packets", "rx_crc_errors", "rx_frame_errors", "rx_length_errors",
              "rx_fifo_errors", "tx_fifo_errors", "tx_carrier_errors", "collisions", "tx_aborted_errors"})
            std::ofstream(interface / "statistics" / name) << "1000\n";
    }
    std::ofstream watched(agent.folder() / "state" / "filesystem.conf");
    watched << "[general]\ninterval=60\n";
    for (int i = 0; i < kMounts; ++i)
        watched << '[' << (agent.folder() / "mounts" / std::to_string(1000 + i)).string()
                << "]\nmode=percent\n";
    return bench::made_up_machine(agent, kDisks, kMounts) + "sys_net=" + net.string() + '\n';
}

/// The sensors' readings and nothing else, as cron would have them.
std::vector<Peer> peers_of_minutes(const zel::simulator::Running& controller, const std::string& cache) {
    auto [ipmitool, sensors, config] = bench::peers_of(controller, cache);
    ipmitool.command.back() = "sdr";
    ipmitool.name = "ipmitool sdr";
    sensors.command.erase(sensors.command.begin() + 1);  // thresholds
    return {sensors, ipmitool};
}

struct Cost {
    double cpu_ms;
    double requests;
};

/// Of one run, with what it keeps of the sensors' records there already.
Cost cost_of(Peer& peer, zel::simulator::Running& controller) {
    const auto children_ms = [] {
        rusage usage{};
        ::getrusage(RUSAGE_CHILDREN, &usage);
        const auto ms = [](const timeval& time) {
            return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
        };
        return ms(usage.ru_utime) + ms(usage.ru_stime);
    };
    peer.run();
    controller.all_requests();
    const double before = children_ms();
    peer.run();
    return {children_ms() - before, static_cast<double>(controller.all_requests().size())};
}

void measure(int sensors, seconds span) {
    AgentService agent;
    agent.stop_service();
    Controller controller(agent, zel::simulator::many_sensors(sensors * 3 / 4, sensors / 4), machine(agent));
    agent.start_service();
    // Both kinds of sensors are found at once, and pace themselves by each other from the next look on.
    std::this_thread::sleep_for(seconds(75));
    controller.all_requests();
    const Used before = used_by(agent.service());
    std::this_thread::sleep_for(span);
    const Used now = used_by(agent.service());
    const double minutes = static_cast<double>(span.count()) / 60;
    const double requests = static_cast<double>(controller.all_requests().size()) / minutes;
    const double cpu = (now.cpu_ms - before.cpu_ms) / minutes;
    const std::string what =
        "watching " + std::to_string(sensors) + " sensors, 20 disks, 20 mounts, 4 interfaces: ";
    bench::print_ratio(what + "CPU time a minute", {cpu}, "allowed", {120}, "ms", 1.0);
    // A request is waited for once, unless its answer is there at once.
    bench::print_ratio(what + "wake-ups a minute besides the controller's",
                       {std::max(0.0, (now.wakes - before.wakes) / minutes - requests)}, "allowed", {20}, "",
                       1.0);
    bench::print_ratio(what + "requests a minute", {requests}, "allowed", {120}, "", 1.0);
    bench::print_value(what + "resident memory", {bench::resident_kb(agent.service())}, "kB");
    agent.stop_service();
    const std::string cache = agent.folder() / "freeipmi";
    fs::create_directory(cache);
    for (Peer& peer : peers_of_minutes(controller, cache)) {
        const Cost cost = cost_of(peer, controller);
        const std::string name = peer.name + " each minute";
        bench::print_ratio(what + "requests a minute", {requests}, name, {cost.requests}, "", 1.0);
        bench::print_ratio(what + "CPU time a minute", {cpu}, name, {cost.cpu_ms}, "ms", 1.0);
    }
}

}  // namespace

int main(int argc, char** argv) try {
    const int minutes = argc > 1 ? std::atoi(argv[1]) : 3;
    measure(64, std::chrono::minutes(minutes));
    measure(512, seconds(248));  // in which each sensor that has thresholds is read once
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "budget_bench: %s\n", error.what());
    return 1;
}
