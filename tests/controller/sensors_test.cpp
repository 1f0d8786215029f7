// SPDX-License-Identifier: GPL-3.0-or-later
// The six calls of the sensor panels against a simulated controller: one that behaves, and where something
// is wrong with it, the way to it, or files.
#include <sys/stat.h>

#include <algorithm>
#include <memory>
#include <span>
#include <thread>

#include "bmc/controller.h"
#include "bmc/settings.h"
#include "panel_table.h"
#include "store/registry.h"
#include "zel/tracelog.h"

namespace {

using namespace zel;
using namespace zel::test;
using simulator::Access;
using simulator::Sensor;
using std::chrono::milliseconds;
using std::chrono::steady_clock;
namespace registry = zel::store::registry;

TEST(Sensors, SixHundredSensorsOnThreeLunsKeepTheirOwnValues) {
    RunningSimulator simulator(simulator::many_sensors(600, 140));
    Temperatures temperatures;
    Voltages voltages;
    ASSERT_TRUE(temperatures.open() && voltages.open());
    ASSERT_EQ(std::pair(temperatures.count, voltages.count), std::pair(TEMP_SENSORS_MAX, VOLT_SENSORS_MAX));
    const auto check = [](const auto& panel, std::size_t rows, int step) {
        for (std::size_t i = 0; i < rows; ++i) {
            const int n = std::stoi(panel.locations[i].name + 5);
            ASSERT_NE(n % 8, 7);  // those without thresholds are the ones left out
            const auto& row = panel.data[i];
            const std::array<std::int64_t, 5> expected{91 + n % 30, 70 + n % 20, 10 + n % 9, 5, 1};
            const std::array actual{row.lHighFatal / step, row.lHighWarning / step, row.lLowWarning / step,
                                    row.lLowFatal / step, std::int64_t{row.bSettable}};
            ASSERT_EQ(actual, expected) << n;
        }
    };
    check(temperatures, TEMP_SENSORS_MAX, 1);
    check(voltages, 120, 63);
    simulator.requests();  // again: one for each with thresholds, and two for the state of the repository
    ASSERT_TRUE(temperatures.open() && voltages.open());
    EXPECT_EQ(simulator.requests().size(), TEMP_SENSORS_MAX + 123U + 2);
    // The highest of 512 rows is written where it belongs; a value goes to the next that the sensor has.
    TempThreshRecord& last = temperatures.data[TEMP_SENSORS_MAX - 1];
    last.lLowFatal = 4;
    voltages.data[0].lHighFatal = 7000;
    last.bChangeThreshFlag = voltages.data[0].bChangeThreshFlag = 1;
    simulator.requests();
    ASSERT_TRUE(temperatures.write() && voltages.write());
    EXPECT_EQ(simulator.requests().size(), 4U);
    ASSERT_TRUE(voltages.open());
    EXPECT_EQ(voltages.data[0].lHighFatal, 6993);
}

TEST(Sensors, ThreadsShareOneController) {
    const RunningSimulator simulator(simulator::many_sensors(40, 40));
    ASSERT_TRUE(Temperatures{}.find());  // before there are threads
    const auto use = [](auto panel) {
        for (int round = 0; round < 3; ++round) {
            ASSERT_TRUE(panel.open());
            panel.data[3].lHighFatal += panel.data[3].lHighFatal / 20;
            panel.data[3].bChangeThreshFlag = 1;
            ASSERT_TRUE(panel.write());
            bmc::controller().end_session();
        }
    };
    std::thread other([&] { use(Voltages{}); });
    use(Temperatures{});
    other.join();
}

std::vector<Sensor> zones(int count) {
    std::vector<Sensor> sensors(static_cast<std::size_t>(count));
    for (std::size_t n = 1; n <= sensors.size(); ++n)
        sensors[n - 1] = {.name = "Zone " + std::to_string(n), .number = static_cast<std::uint8_t>(n)};
    return sensors;
}

TEST(SensorFaults, HostileRecordsInTheRepositoryHideNoOtherSensor) {
    auto short_one = simulator::record_of(zones(2)[1]), long_name = simulator::record_of(zones(3)[2]);
    const auto twice = long_name;
    short_one.resize(20);
    short_one[4] = 15;
    long_name[47] = 0xdf;
    const RunningSimulator simulator(zones(3), {twice, short_one, long_name, twice});
    Temperatures panel;
    for (const auto& [rules, count] : {std::pair("length 02 ff\n", 2), {"length 02 00\n", 2}, {"", 3}}) {
        simulator.rules(rules);
        ASSERT_TRUE(panel.open());
        EXPECT_EQ(panel.count, count) << rules;
        fs::remove_all(state("sdr"));
    }
    EXPECT_EQ(panel.row("Zone 3")->lHighFatal, 80);
}

}  // namespace
