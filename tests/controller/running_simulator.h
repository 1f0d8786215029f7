// SPDX-License-Identifier: GPL-3.0-or-later
// A simulated controller that runs as long as the object lives, agent.conf pointing at it; and the panels'
// tables.
#pragma once

#include "../agent/home.h"
#include "running.h"
#include "zel/access_ipmi.h"

namespace zel::test {

using Records = std::vector<std::vector<std::uint8_t>>;

/// Writes agent.conf: `section` and `more` lines.
inline void write_config(const std::string& section, const std::string& more = "") {
    write_text(store::config_file(), section + more);
}

class RunningSimulator : public simulator::Running {
  public:
    /// With the port of an earlier one it is that controller, changed.
    explicit RunningSimulator(std::vector<simulator::Sensor> sensors, Records more_records = {}, int port = 0)
        : Running({.folder = fs::path(store::agent_dir()).parent_path() / "simulator",
                   .port = port != 0 ? port : simulator::new_port(),
                   .module = ZELSIM_MODULE,
                   .sensors = std::move(sensors),
                   .more_records = std::move(more_records)}) {
        EXPECT_EQ(failure(), "");
        write_config(section());
    }
    [[nodiscard]] int port() const { return simulation().port; }
    [[nodiscard]] std::string section() const { return simulator::controller_section(simulation()); }
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
