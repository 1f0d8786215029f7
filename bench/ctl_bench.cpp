// SPDX-License-Identifier: GPL-3.0-or-later
// The command line: a new program for each sample, beside programs that do as much.
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>

#include "controllers.h"
#include "made_up_machine.h"

namespace {

using bench::AgentService;
using bench::Controller;
using bench::Samples;
using bench::Strings;

Strings zelctl(Strings arguments) {
    arguments.insert(arguments.begin(), ZELCTL);
    return arguments;
}

/// Milliseconds of a program, which is to end well.
double run_ms(const Strings& command, const std::string& output = "/dev/null") {
    int status = 0;
    const double took = bench::milliseconds([&] { status = bench::run_program(command, output); });
    if (status != 0) throw std::runtime_error(command.at(1) + " fails with " + std::to_string(status));
    return took;
}

void measure_get(const AgentService& agent) {
    agent.write_file("agent.conf", "[controller]\ninterface=none\n");
    Samples ours;
    Samples theirs;
    for (int round = 0; round < 31; ++round) {
        ours.push_back(run_ms(zelctl({"get"})));
        theirs.push_back(run_ms({"ipmitool", "-V"}));
    }
    bench::print_ratio("zelctl get, all but sensors", ours, "ipmitool -V", theirs, "ms", 3.0);
    bench::print_ratio("zelctl get, all but sensors", ours, "allowed", {10}, "ms", 1.0);
}

void measure_export(const AgentService& agent) {
    Controller controller(agent, zel::simulator::many_sensors(32, 32));
    const std::string cache = agent.folder() / "freeipmi";
    std::filesystem::create_directory(cache);
    auto peer = bench::peers_of(controller, cache).at(1);
    const Strings ours{zelctl({"export", "temperature", "voltage"})};
    run_ms(ours);  // it fills the cache, and so does the peer
    peer.run();
    peer.ms.clear();
    Samples ms;
    for (int round = 0; round < 15; ++round) {
        ms.push_back(run_ms(ours));
        peer.run();
    }
    bench::print_ratio("zelctl export of 64 sensors", ms, peer.name, peer.ms, "ms", 1.0);
}

/// Until the service has read so many of its sensors.
void await_sensors(int sensors) {
    const std::string count = ZELCTL " metrics | grep -c '^zelagent_sensor_'";
    const std::string there = "[ \"$(" + count + ")\" -eq " + std::to_string(sensors) + " ]";
    for (int tries = 0; bench::run_program({"sh", "-c", there}, "/dev/null") != 0; ++tries) {
        if (tries == 300) throw std::runtime_error("the service does not read its sensors");
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
}

void measure_metrics(AgentService& agent) {
    Controller controller(agent, zel::simulator::many_sensors(36, 37));  // nine of them have no thresholds
    agent.stop_service();
    agent.start_service();
    await_sensors(64);
    const std::string file = agent.folder() / "zelagent.prom";
    Samples ms;
    for (int round = 0; round < 31; ++round)
        ms.push_back(run_ms(zelctl({"metrics", "--output=" + file})));
    bench::print_ratio("zelctl metrics of 64 sensors, into a file", ms, "allowed", {20}, "ms", 1.0);
}

/// Each file of the settings, by the inode that it has until it is written.
Strings written_files(const AgentService& agent) {
    Strings names;
    for (const auto& entry : std::filesystem::directory_iterator(agent.folder() / "state")) {
        struct stat info {};
        if (entry.path().extension() == ".conf" && ::stat(entry.path().c_str(), &info) == 0)
            names.push_back(entry.path().filename().string() + std::to_string(info.st_ino));
    }
    std::ranges::sort(names);
    return names;
}

void measure_round(AgentService& agent) {
    Controller controller(agent, zel::simulator::many_sensors(384, 128),
                          bench::made_up_machine(agent, 1024, 1000));
    const std::string file = agent.folder() / "all.json";
    const Strings round{"sh", "-c", ZELCTL " export | " ZELCTL " apply - >" + file};
    const Strings sensors{"sh", "-c", ZELCTL " export temperature voltage | " ZELCTL " apply - >" + file};
    run_ms(zelctl({"export"}), file);
    run_ms(zelctl({"set", "lan.interval=61"}), file);
    agent.stop_service();  // it asks the same controller for as many readings
    const Strings before = written_files(agent);
    Samples ms;
    for (int i = 0; i < 9; ++i) {
        const double all = run_ms(round);
        ms.push_back(all - run_ms(sensors));
    }
    bench::print_ratio(
        "zelctl export into zelctl apply, 1,024 disks, 1,000 mounts, 512 sensors, less what the sensors take",
        ms, "allowed", {200}, "ms", 1.0);
    std::ifstream said(file);
    const bool nothing = std::string(std::istreambuf_iterator<char>(said), {}) == "nothing to change\n";
    bench::print_note(nothing && before == written_files(agent) ? "nothing was written"
                                                                : "**something was written**");
}

}  // namespace

int main() try {
    AgentService agent;
    measure_get(agent);
    measure_export(agent);
    measure_metrics(agent);
    measure_round(agent);
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "ctl_bench: %s\n", error.what());
    return 1;
}
