// SPDX-License-Identifier: GPL-3.0-or-later
// The sensor panels' tables.
#pragma once

#include "running_simulator.h"
#include "zel/access_ipmi.h"

namespace zel::test {

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
