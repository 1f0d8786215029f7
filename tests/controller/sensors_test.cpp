// SPDX-License-Identifier: GPL-3.0-or-later
// The six calls of the sensor panels against a controller that behaves.
#include <algorithm>
#include <thread>

#include "bmc/controller.h"
#include "running_simulator.h"
#include "store/registry.h"

namespace {

using namespace zel;
using namespace zel::test;
using simulator::Access;
using simulator::Sensor;
namespace registry = zel::store::registry;

constexpr std::int64_t kNone = SENSOR_NO_THRESHOLD;

template <class Row>
std::array<std::int64_t, 4> thresholds(const Row& row) {
    return {row.lHighFatal, row.lHighWarning, row.lLowWarning, row.lLowFatal};
}
using Four = std::array<std::int64_t, 4>;

/// Sensors on three LUNs, thresholds of their own, every eighth without any.
std::vector<Sensor> many(int temperatures, int voltages) {
    std::vector<Sensor> sensors(static_cast<std::size_t>(temperatures + voltages));
    for (int n = 0; n < temperatures + voltages; ++n) {
        Sensor& sensor = sensors[static_cast<std::size_t>(n)];
        if (n >= temperatures)
            sensor = {.type = 2,
                      .unit = 4,
                      .format = 0,
                      .factor = 63,
                      .exponent = -3,
                      .max_code = 255,
                      .min_code = 0};
        sensor.name = (n < temperatures ? "Zone " : "Rail ") + std::to_string(n);
        sensor.lun = static_cast<std::uint8_t>(n / 250);
        sensor.number = static_cast<std::uint8_t>(n % 250 + 1);
        sensor.codes = {10 + n % 9, 5, 0, 70 + n % 20, 91 + n % 30, 125};
        if (n % 8 == 7) sensor.access = Access::none;
    }
    return sensors;
}

/// One sensor each of what the panels treat differently, and settable ones on LUN 0 and 2 that share a
/// number.
std::vector<Sensor> kinds() {
    return {{.name = "none", .number = 1, .access = Access::none},
            {.name = "all", .number = 2},
            {.name = "upper",
             .number = 3,
             .thresholds = simulator::kUpperThresholds,
             .live_thresholds = simulator::kUpperThresholds},
            {.name = "read only", .number = 4, .access = Access::readable},
            {.name = "not live", .number = 5, .live_thresholds = 0x3f & ~(1U << simulator::kLc)},
            {.name = "half settable", .number = 6, .thresholds = simulator::kFourThresholds},
            {.name = "LUN 2", .lun = 2, .number = 2, .codes = {15, 10, 9, 40, 50, 60}},
            {.name = "zeros", .number = 8, .codes = {0, 0, 0, 0, 0, 0}},
            {.name = "odd", .number = 9, .max_code = 60, .min_code = 20}};
}

TEST(Sensors, ThresholdsLimitsAndFlagsAreThoseOfTheController) {
    const RunningSimulator simulator(kinds());
    Temperatures panel;
    ASSERT_TRUE(panel.open());
    ASSERT_EQ(panel.count, 9);
    EXPECT_STREQ(panel.locations[8].name, "none");  // what has no thresholds comes last
    struct Case {
        const char* name;
        Four values;
        int settable;
        std::uint32_t monitor;
    };
    for (const Case& c : {Case{"none", {kNone, kNone, kNone, kNone}, 0, SENSOR_NO_MONITORING},
                          Case{"all", {80, 70, 5, 0}, 1, 1}, Case{"upper", {80, 70, kNone, kNone}, 1, 1},
                          Case{"read only", {80, 70, 5, 0}, 0, 1}, Case{"not live", {80, 70, 5, kNone}, 1, 1},
                          Case{"half settable", {80, 70, 5, 0}, 1, 1}, Case{"LUN 2", {50, 40, 15, 10}, 1, 1},
                          Case{"zeros", {0, 0, 0, 0}, 1, 0}, Case{"odd", {80, 70, 5, 0}, 1, 1}}) {
        const TempThreshRecord& row = *panel.row(c.name);
        EXPECT_EQ(thresholds(row), c.values) << c.name;
        EXPECT_EQ(row.bSettable, c.settable) << c.name;
        EXPECT_EQ(row.dwMonitorFlag, c.monitor) << c.name;
        const Four limits{row.lHighMax, row.lHighMin, row.lLowMax, row.lLowMin};
        const bool odd = std::string("odd") == c.name;  // its thresholds lie outside the sensor's own range
        EXPECT_EQ(limits, (odd ? Four{80, 20, 60, 0} : Four{127, -128, 127, -128})) << c.name;
    }
}

TEST(Sensors, VoltagesAreMillivolts) {
    const RunningSimulator simulator(simulator::small_server());
    Voltages panel;
    ASSERT_TRUE(panel.open());
    ASSERT_EQ(panel.count, 7);
    EXPECT_EQ(thresholds(*panel.row("+12V")), (Four{13266, 12663, 11457, 10854}));
    EXPECT_EQ(thresholds(*panel.row("VBAT")), (Four{kNone, kNone, 2907, 2754}));
    EXPECT_EQ(panel.row("+12V")->lHighMax, 17085);
    EXPECT_EQ(panel.row("Vcore CPU2")->bSettable, 0);

    panel.row("+12V")->lHighWarning = 12700;  // 12663 and 12730 are what the sensor can represent
    panel.row("+12V")->bChangeThreshFlag = 1;
    ASSERT_TRUE(panel.write());
    ASSERT_TRUE(panel.open());
    EXPECT_EQ(panel.row("+12V")->lHighWarning, 12730);
}

TEST(Sensors, SixHundredSensorsOnThreeLunsKeepTheirOwnValues) {
    RunningSimulator simulator(many(600, 140));
    Temperatures temperatures;
    Voltages voltages;
    ASSERT_TRUE(temperatures.open() && voltages.open());
    ASSERT_EQ(temperatures.count, TEMP_SENSORS_MAX);
    ASSERT_EQ(voltages.count, VOLT_SENSORS_MAX);
    const auto check = [](const auto& panel, std::size_t rows, int step) {
        for (std::size_t i = 0; i < rows; ++i) {
            const int n = std::stoi(panel.locations[i].name + 5);
            ASSERT_NE(n % 8, 7);  // those without thresholds are the ones left out
            ASSERT_EQ(thresholds(panel.data[i]),
                      (Four{step * (91 + n % 30), step * (70 + n % 20), step * (10 + n % 9), step * 5}))
                << n;
        }
    };
    check(temperatures, TEMP_SENSORS_MAX, 1);
    check(voltages, 120, 63);
    // The highest of 512 rows is written where it belongs.
    temperatures.data[TEMP_SENSORS_MAX - 1].lLowFatal = 4;
    temperatures.data[TEMP_SENSORS_MAX - 1].bChangeThreshFlag = 1;
    simulator.requests();
    ASSERT_TRUE(temperatures.write());
    EXPECT_EQ(simulator.requests().size(), 2U);
}

TEST(Sensors, OneWriteAndOneReadPerChangedSensor) {
    RunningSimulator simulator(kinds());
    Temperatures panel;
    ASSERT_TRUE(panel.open());
    simulator.requests();

    ASSERT_TRUE(panel.write());
    EXPECT_TRUE(simulator.requests().empty());
    EXPECT_FALSE(registry::key_exists("SOFTWARE/QUD/ZELAgent/Sensors"));

    panel.row("LUN 2")->lHighFatal = 55;
    panel.row("LUN 2")->lLowFatal = -7;
    panel.row("LUN 2")->bChangeThreshFlag = 1;
    panel.row("upper")->lHighWarning = 71;
    panel.row("upper")->bChangeThreshFlag = 1;
    panel.row("upper")->dwMonitorFlag = 0;
    panel.row("half settable")->lHighFatal = 99;  // not flagged: nobody changed it
    panel.row("read only")->dwMonitorFlag = 0;
    ASSERT_TRUE(panel.write());
    auto requests = simulator.requests();
    std::ranges::sort(requests);
    EXPECT_EQ(requests,
              (std::vector<std::string>{"04/26.0 03 08 00 00 00 47 00 00", "04/26.2 02 12 00 f9 00 00 37 00",
                                        "04/27.0 03", "04/27.2 02"}));

    const std::string keys = "SOFTWARE/QUD/ZELAgent/Sensors/";
    EXPECT_EQ(registry::get_dword(keys + "2.2", "LowFatal"), 0xfffffff9U);
    EXPECT_EQ(registry::get_dword(keys + "2.2", "Monitor"), 1U);
    EXPECT_EQ(registry::get_dword(keys + "0.4", "Monitor"), 0U);
    EXPECT_FALSE(registry::key_exists(keys + "0.2"));

    ASSERT_TRUE(panel.open());
    EXPECT_EQ(thresholds(*panel.row("LUN 2")), (Four{55, 40, 15, -7}));
    EXPECT_EQ(thresholds(*panel.row("all")), (Four{80, 70, 5, 0}));  // the same number on LUN 0
    EXPECT_EQ(panel.row("upper")->dwMonitorFlag + panel.row("read only")->dwMonitorFlag, 0U);
    EXPECT_EQ(panel.row("half settable")->dwMonitorFlag, 1U);
}

TEST(Sensors, ThreadsShareOneController) {
    RunningSimulator simulator(many(40, 40));
    ASSERT_TRUE(Temperatures{}.find());  // GLib's first use, whose locking a sanitizer cannot see
    const auto panels = [](auto panel) {
        for (int round = 0; round < 3; ++round) {
            ASSERT_TRUE(panel.open());
            ASSERT_EQ(panel.count, 40);
            panel.data[3].lHighFatal += panel.data[3].lHighFatal / 20;
            panel.data[3].bChangeThreshFlag = 1;
            ASSERT_TRUE(panel.write());
        }
    };
    std::thread first([&] { panels(Temperatures{}); });
    std::thread second([&] { panels(Voltages{}); });
    for (int round = 0; round < 50; ++round) {
        const auto reply = bmc::controller().request(0, bmc::kChassis, 0x04, std::array<std::uint8_t, 1>{5});
        EXPECT_TRUE(reply && reply->ok());
        if (round % 8 == 0) bmc::controller().end_session();
    }
    first.join();
    second.join();
}

}  // namespace
