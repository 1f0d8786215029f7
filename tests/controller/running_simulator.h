// SPDX-License-Identifier: GPL-3.0-or-later
// A simulated controller that runs as long as the object lives, agent.conf pointing at it; and the panels'
// tables.
#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

#include "simulation.h"
#include "zel/access_ipmi.h"

namespace zel::test {

using Records = std::vector<std::vector<std::uint8_t>>;

/// Writes agent.conf: `section` and `more` lines.
void write_config(const std::string& section, const std::string& more = "");

std::string read_text(const std::string& path);
void write_text(const std::string& path, const std::string& text);
/// What this process wrote into the trace log.
std::string trace_log();

class RunningSimulator {
  public:
    /// Starts on a free port, with nothing kept from tests before, and waits until it answers. With the port
    /// of an earlier one it is that controller, changed.
    explicit RunningSimulator(std::vector<simulator::Sensor> sensors, Records more_records = {},
                              int port = 0);
    ~RunningSimulator();
    RunningSimulator(const RunningSimulator&) = delete;
    RunningSimulator& operator=(const RunningSimulator&) = delete;

    [[nodiscard]] int port() const { return simulation_.port; }
    [[nodiscard]] std::string section() const { return simulator::controller_section(simulation_); }
    void rules(const std::string& text) const;
    void resume() const;
    /// The requests since the last call, as the module writes them; without those that keep a session.
    std::vector<std::string> requests();

  private:
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
        for (int i = 0; i < count; ++i) {
            if (name == locations[static_cast<std::size_t>(i)].name)
                return &data[static_cast<std::size_t>(i)];
        }
        ADD_FAILURE() << "no sensor " << name;
        return data.data();
    }
};
using Temperatures = PanelTable<TempSensorLocation, TempThreshRecord, TEMP_SENSORS_ROOM, GetIpmiTempLocation,
                                TempGetIpmiThreshold, TempSetIpmiThreshold>;
using Voltages = PanelTable<VoltSensorLocation, VoltThreshRecord, VOLT_SENSORS_ROOM, GetIpmiVoltLocation,
                            VoltGetIpmiThreshold, VoltpSetIpmiThreshold>;

inline std::chrono::milliseconds elapsed_since(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
}

}  // namespace zel::test
