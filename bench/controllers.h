// SPDX-License-Identifier: GPL-3.0-or-later
// Simulated management controllers, and the programs that people ask theirs with.
#pragma once

#include <array>
#include <stdexcept>

#include "agent_service.h"
#include "programs.h"
#include "running.h"
#include "statistics.h"

namespace bench {

using Strings = std::vector<std::string>;

/// A controller that agent.conf leads to.
class Controller : public zel::simulator::Running {
  public:
    /// @param more  Further lines of agent.conf.
    Controller(const AgentService& agent, std::vector<zel::simulator::Sensor> sensors,
               const std::string& more = "")
        : Running({.folder = agent.folder() / "simulator",
                   .port = zel::simulator::new_port(),
                   .module = ZELSIM_MODULE,
                   .sensors = std::move(sensors),
                   .more_records = {}}) {
        if (!failure().empty()) throw std::runtime_error(failure());
        agent.write_file("agent.conf", controller_section(simulation()) + more);
    }
};

struct Peer {
    std::string name;
    Strings command;
    Samples ms{};
    int status = 0;

    void run() {
        ms.push_back(milliseconds([&] { status = run_program(command); }));
    }
};

/// ipmitool, ipmi-sensors and ipmi-sensors-config.
inline std::array<Peer, 3> peers_of(const zel::simulator::Running& controller, const std::string& cache) {
    const std::string port = std::to_string(controller.simulation().port);
    const Strings freeipmi{"-h",
                           "127.0.0.1:" + port,
                           "-u",
                           zel::simulator::kUser,
                           "-p",
                           zel::simulator::kPassword,
                           "-D",
                           "LAN_2_0",
                           "-l",
                           "ADMIN",
                           "-W",
                           "opensesspriv",
                           "--sdr-cache-directory=" + cache};
    std::array peers{Peer{"ipmitool sensor",
                          {"ipmitool", "-I", "lanplus", "-C", "3", "-H", "127.0.0.1", "-p", port, "-U",
                           zel::simulator::kUser, "-P", zel::simulator::kPassword, "sensor"}},
                     Peer{"ipmi-sensors", {"ipmi-sensors", "--output-sensor-thresholds"}},
                     Peer{"ipmi-sensors-config", {"ipmi-sensors-config", "--checkout"}}};
    for (Peer& peer : {std::ref(peers[1]), std::ref(peers[2])})
        peer.command.insert(peer.command.end(), freeipmi.begin(), freeipmi.end());
    return peers;
}

}  // namespace bench
