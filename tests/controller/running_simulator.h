// SPDX-License-Identifier: GPL-3.0-or-later
// A simulated controller that runs as long as the object lives, agent.conf pointing at it; and the panels'
// tables.
#pragma once

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>

#include <chrono>
#include <csignal>

#include "../agent/home.h"
#include "simulation.h"
#include "store/file_io.h"
#include "zel/access_ipmi.h"

namespace zel::test {

using Records = std::vector<std::vector<std::uint8_t>>;

/// Writes agent.conf: `section` and `more` lines.
inline void write_config(const std::string& section, const std::string& more = "") {
    write_text(store::config_file(), section + more);
}

class RunningSimulator {
  public:
    /// Starts on a free port and waits until it answers. With the port of an earlier one it is that
    /// controller, changed.
    explicit RunningSimulator(std::vector<simulator::Sensor> sensors, Records more_records = {}, int port = 0)
        : simulation_{.folder = fs::path(store::agent_dir()).parent_path() / "simulator",
                      .port = port != 0 ? port : new_port(),
                      .module = ZELSIM_MODULE,
                      .sensors = std::move(sensors),
                      .more_records = std::move(more_records)} {
        fs::remove_all(simulation_.folder);
        EXPECT_TRUE(simulator::write_files(simulation_));
        process_ = start_process([&] {
            std::vector<std::string> command = simulator::command_line(simulation_);
            std::vector<char*> arguments;
            for (std::string& argument : command)
                arguments.push_back(argument.data());
            arguments.push_back(nullptr);
            dup2(open("/dev/null", O_RDWR), STDIN_FILENO);
            dup2(open((simulation_.folder + "/output").c_str(), O_WRONLY | O_CREAT, 0600), STDOUT_FILENO);
            dup2(STDOUT_FILENO, STDERR_FILENO);
            return execvp(arguments[0], arguments.data());
        });
        EXPECT_TRUE(answers()) << read_text(simulation_.folder + "/output");
        write_config(section());
    }
    ~RunningSimulator() {
        kill(process_, SIGKILL);
        finish_process(process_);
    }
    RunningSimulator(const RunningSimulator&) = delete;
    RunningSimulator& operator=(const RunningSimulator&) = delete;

    [[nodiscard]] int port() const { return simulation_.port; }
    [[nodiscard]] std::string section() const { return simulator::controller_section(simulation_); }
    /// What it does from now on; a stopped one runs again.
    void rules(const std::string& text) const {
        write_text(simulation_.folder + "/rules", text);
        kill(process_, SIGCONT);
    }
    /// The requests since the last call, as the module writes them; without those that keep a session.
    Strings requests() {
        std::istringstream fresh(read_text(simulation_.folder + "/requests").substr(seen_));
        seen_ += fresh.str().size();
        Strings lines;
        for (std::string line; std::getline(fresh, line);) {
            if (!line.starts_with("06/3")) lines.push_back(line);
        }
        return lines;
    }

  private:
    /// Below the ports that the kernel gives away.
    static int new_port() {
        static int made = 0;
        return 20'000 + (getpid() * 8 + made++) % 12'000;
    }
    /// Sends RMCP presence pings until one is answered.
    [[nodiscard]] bool answers() const {
        sockaddr_in address{.sin_family = AF_INET,
                            .sin_port = htons(static_cast<std::uint16_t>(port())),
                            .sin_addr = {htonl(INADDR_LOOPBACK)},
                            .sin_zero = {}};
        const std::uint8_t ping[12] = {0x06, 0, 0xff, 0x06, 0, 0, 0x11, 0xbe, 0x80, 0, 0, 0};
        for (int tries = 0; tries < 500; ++tries) {
            const store::UniqueFd client(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
            sendto(client.get(), ping, sizeof ping, 0, reinterpret_cast<sockaddr*>(&address), sizeof address);
            pollfd waiting{client.get(), POLLIN, 0};
            if (poll(&waiting, 1, 20) == 1) return true;
        }
        return false;
    }

    simulator::Simulation simulation_;
    pid_t process_ = -1;
    std::size_t seen_ = 0;
};

/// What a panel does with one kind's calls.
template <class Location, class Row, int rows, auto find_call, auto read_call, auto write_call>
struct PanelTable {
    int count = 0;
    std::vector<Location> locations = std::vector<Location>(rows);
    std::vector<Row> data = std::vector<Row>(rows);

    bool find() { return find_call(&count, locations.data()) != 0; }
    bool read() { return read_call(locations.data(), data.data(), count) > 0; }
    bool write() { return write_call(data.data(), count) > 0; }
    bool open() { return find() && read(); }

    Row* row(const std::string& name) {
        const auto found = std::ranges::find(locations, name, [](const Location& one) { return one.name; });
        EXPECT_NE(found, locations.end()) << name;
        return &data.at(static_cast<std::size_t>(found - locations.begin()));
    }
};
using Temperatures = PanelTable<TempSensorLocation, TempThreshRecord, TEMP_SENSORS_ROOM, GetIpmiTempLocation,
                                TempGetIpmiThreshold, TempSetIpmiThreshold>;
using Voltages = PanelTable<VoltSensorLocation, VoltThreshRecord, VOLT_SENSORS_ROOM, GetIpmiVoltLocation,
                            VoltGetIpmiThreshold, VoltpSetIpmiThreshold>;

}  // namespace zel::test
