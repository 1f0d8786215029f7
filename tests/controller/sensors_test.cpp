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
#include "service_process.h"
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

/// A row's thresholds from the highest to the lowest, whether they can be set, the monitoring flag, and the
/// limits.
std::string text_of(const auto& row) {
    std::ostringstream text;
    for (const std::int64_t value : {row.lHighFatal, row.lHighWarning, row.lLowWarning, row.lLowFatal})
        text << (value == SENSOR_NO_THRESHOLD ? "-" : std::to_string(value)) << ' ';
    text << (row.bSettable ? "set " : "")
         << (row.dwMonitorFlag == SENSOR_NO_MONITORING ? "none"
             : row.dwMonitorFlag                       ? "on"
                                                       : "off");
    text << ' ' << row.lHighMax << ' ' << row.lHighMin << ' ' << row.lLowMax << ' ' << row.lLowMin;
    return text.str();
}

/// One sensor each of what the panels treat differently, and settable ones on LUN 0 and 2 that share a
/// number.
std::vector<Sensor> kinds() {
    constexpr auto upper = simulator::kUpperThresholds;
    return {{.name = "none", .number = 1, .access = Access::none},
            {.name = "all", .number = 2},
            {.name = "upper", .number = 3, .thresholds = upper, .live_thresholds = upper},
            {.name = "read only", .number = 4, .access = Access::readable},
            {.name = "not live", .number = 5, .live_thresholds = 0x3f & ~(1U << simulator::kLc)},
            {.name = "half settable", .number = 6, .thresholds = simulator::kFourThresholds},
            {.name = "LUN 2", .lun = 2, .number = 2, .codes = {15, 10, -9, 40, 50, 60}},
            {.name = "zeros", .number = 8, .codes = {0, 0, 0, 0, 0, 0}},
            {.name = "odd", .number = 9, .max_code = 60, .min_code = 20}};
}

TEST(Sensors, ThresholdsLimitsAndFlagsAreThoseOfTheController) {
    const RunningSimulator simulator(kinds());
    Temperatures panel;
    ASSERT_TRUE(panel.open());
    EXPECT_STREQ(panel.locations[8].name, "none");  // what has no thresholds comes last
    const std::string limits = " 127 -128 127 -128";
    for (const auto& [name, text] : std::initializer_list<std::pair<const char*, std::string>>{
             {"none", "- - - - none" + limits},
             {"all", "80 70 5 0 set on" + limits},
             {"upper", "80 70 - - set on" + limits},
             {"read only", "80 70 5 0 on" + limits},
             {"not live", "80 70 5 - set on" + limits},
             {"half settable", "80 70 5 0 set on" + limits},
             {"LUN 2", "50 40 15 10 set on" + limits},
             {"zeros", "0 0 0 0 set off" + limits},
             {"odd", "80 70 5 0 set on 80 20 60 0"}})  // its thresholds lie outside the sensor's own range
        EXPECT_EQ(text_of(*panel.row(name)), text) << name;
}

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
            std::ostringstream text;
            text << step * (91 + n % 30) << ' ' << step * (70 + n % 20) << ' ' << step * (10 + n % 9) << ' '
                 << step * 5 << " set on";
            ASSERT_TRUE(text_of(panel.data[i]).starts_with(text.str())) << n;
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

TEST(Sensors, OneWriteAndOneReadPerChangedSensor) {
    RunningSimulator simulator(kinds());
    Temperatures panel;
    ASSERT_TRUE(panel.open());
    simulator.requests();
    ASSERT_TRUE(panel.write());
    EXPECT_EQ(simulator.requests(), Strings());

    panel.row("LUN 2")->lHighFatal = 55;
    panel.row("LUN 2")->lLowFatal = -7;
    panel.row("upper")->lHighWarning = 71;
    panel.row("LUN 2")->bChangeThreshFlag = panel.row("upper")->bChangeThreshFlag = 1;
    panel.row("upper")->dwMonitorFlag = panel.row("read only")->dwMonitorFlag = 0;
    panel.row("half settable")->lHighFatal = 99;  // not flagged: nobody changed it
    ASSERT_TRUE(panel.write());
    Strings requests = simulator.requests();
    std::ranges::sort(requests);
    EXPECT_EQ(requests, (Strings{"04/26.0 03 08 00 00 00 47 00 00", "04/26.2 02 12 00 f9 00 00 37 00",
                                 "04/27.0 03", "04/27.2 02"}));
    EXPECT_EQ(registry::get_dword("SOFTWARE/QUD/ZELAgent/Sensors/2.2", "LowFatal"), 0xfffffff9U);
    EXPECT_FALSE(registry::key_exists("SOFTWARE/QUD/ZELAgent/Sensors/0.2"));

    ASSERT_TRUE(panel.open());
    for (const auto& [name, text] : {std::pair("LUN 2", "55 40 15 -7 set on "),
                                     {"all", "80 70 5 0 set on "},
                                     {"upper", "80 71 - - set off "},
                                     {"read only", "80 70 5 0 off "},
                                     {"half settable", "80 70 5 0 set on "}})
        EXPECT_TRUE(text_of(*panel.row(name)).starts_with(text)) << name;
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

TEST(Sensors, TheServicePutsThresholdsBackThatTheControllerForgot) {
    auto simulator = std::make_unique<RunningSimulator>(zones(3));
    Temperatures panel;
    ASSERT_TRUE(panel.open());
    panel.row("Zone 2")->lHighWarning = 75;
    panel.row("Zone 2")->bChangeThreshFlag = 1;
    ASSERT_TRUE(panel.write());
    const int port = simulator->port();
    simulator.reset();
    simulator = std::make_unique<RunningSimulator>(zones(3), Records(), port);
    ServiceProcess service;
    ASSERT_TRUE(service.says("controller: thresholds put back on sensors: 1\n"));
    ASSERT_TRUE(panel.open());
    EXPECT_EQ(panel.row("Zone 2")->lHighWarning, 75);
    EXPECT_EQ(panel.row("Zone 1")->lHighWarning, 70);
    const auto is_set = [](const std::string& line) { return line.starts_with("04/26"); };
    EXPECT_EQ(std::ranges::count_if(simulator->requests(), is_set), 1);
}

std::string cache_file() {
    const auto is_lock = [](const auto& entry) { return entry.path().extension() == ".lock"; };
    return std::find_if_not(fs::directory_iterator(state("sdr")), fs::directory_iterator(), is_lock)->path();
}

TEST(SensorFaults, WhatCannotBeWrittenIsRefusedAndTheRestIsWritten) {
    RunningSimulator simulator(zones(8));
    simulator.rules("answer 04 26 02 d5\nanswer 04 26 03 00\n");  // one refuses, one only says it took them
    Temperatures panel;
    ASSERT_TRUE(panel.open());
    for (auto& row : std::span(panel.data).first(8)) {
        row.lHighWarning = 75;
        row.bChangeThreshFlag = 1;
    }
    panel.row("Zone 4")->lHighFatal = 200;                 // no code
    panel.row("Zone 5")->lHighWarning = 80;                // as the fatal one: out of order
    panel.row("Zone 6")->lLowFatal = SENSOR_NO_THRESHOLD;  // there is one
    panel.row("Zone 7")->word0 = 0x1234;                   // not a row that was read
    simulator.requests();
    EXPECT_FALSE(panel.write());
    const std::string set = " 08 00 00 00 4b 00 00";
    EXPECT_EQ(simulator.requests(),
              (Strings{"04/26.0 01" + set, "04/27.0 01", "04/26.0 02" + set, "04/26.0 03" + set, "04/27.0 03",
                       "04/26.0 08" + set, "04/27.0 08"}));
    simulator.rules("answer 04 27 07 cb\n");  // refuses to be read
    ASSERT_TRUE(panel.open());
    for (const int n : {1, 2, 3, 4, 5, 6, 8})
        EXPECT_EQ(panel.row("Zone " + std::to_string(n))->lHighWarning, n == 1 || n == 8 ? 75 : 70) << n;
    EXPECT_TRUE(text_of(*panel.row("Zone 7")).starts_with("- - - - off"));
}

TEST(SensorFaults, ASlowControllerIsWaitedForAndOneThatStopsIsNot) {
    const RunningSimulator simulator(zones(20));
    write_config(simulator.section(), "timeout=1\n");
    simulator.rules("delay 5000\n");
    Temperatures panel;
    ASSERT_TRUE(panel.open());
    const auto fails_in_time = [](const auto& call) {
        const auto start = steady_clock::now();
        return !call() && steady_clock::now() - start < milliseconds(2900);  // and a new session is tried
    };
    simulator.rules("stop 04 27 0c\n");
    panel.data[0].lHighFatal = -1;
    EXPECT_TRUE(fails_in_time([&] { return panel.read(); }));
    EXPECT_EQ(panel.data[0].lHighFatal, -1);  // nothing half-read
    simulator.rules("");
    write_config(simulator.section(), "timeout=1 \n# tried again at once\nprivilege=operator\n");
    ASSERT_TRUE(panel.open());
    // Stopped while writing: one wait, the flags are kept all the same.
    simulator.rules("stop 04 26 02\n");
    for (const char* name : {"Zone 2", "Zone 3"}) {
        panel.row(name)->lHighWarning = 74;
        panel.row(name)->bChangeThreshFlag = 1;
    }
    panel.row("Zone 5")->dwMonitorFlag = 0;
    EXPECT_TRUE(fails_in_time([&] { return panel.write(); }));
    simulator.rules("");
    ASSERT_TRUE(panel.open());
    EXPECT_EQ(panel.row("Zone 5")->dwMonitorFlag, 0U);
    EXPECT_EQ(panel.row("Zone 3")->lHighWarning, 70);
}

TEST(SensorFaults, WithoutAControllerTheCallsFailInTime) {
    ASSERT_EQ(TraceLogInit(0, "controller_tests", 0, 5, 0), 0);
    const RunningSimulator simulator(zones(1));
    const std::string password = simulator.section().substr(0, simulator.section().find("password_file"));
    const auto with_password = [&](const std::string& text, mode_t mode) {
        write_text(home("password"), text);
        chmod(home("password").c_str(), mode);
        return password + "workaround=opensesspriv\npassword_file=" + home("password") + "\ntimeout=1\n";
    };
    Temperatures panel;
    const auto fails = [&](const std::string& config, milliseconds longest = milliseconds(1900)) {
        write_config(config);
        const auto start = steady_clock::now();
        EXPECT_FALSE(panel.find()) << config;
        EXPECT_LT(steady_clock::now() - start, longest) << config;
    };
    fails(with_password("s3cret-s3same", 0600));
    fails(with_password("secret", 0640));  // that the group can read
    fails(simulator.section() + "cipher_suite=99\n");
    for (const char* word : {"", "allow_cipher_suite_0=false\n", "allow_cipher_suite_0=true\n"}) {
        write_config(simulator.section() + "cipher_suite=0\n" + word);
        EXPECT_EQ(bmc::read_settings().has_value(), std::string_view(word).ends_with("true\n")) << word;
    }
    write_config(simulator.section() + "cipher_suite=1\n");
    EXPECT_TRUE(panel.open());
    const std::string traced = read_text(state("log/controller_tests.log"));
    EXPECT_NE(traced.find("With cipher_suite=1, whoever"), std::string::npos);
    EXPECT_EQ(traced.find("keeps its password"), std::string::npos);
    for (const int longest : {1900, 200})  // the second time it is remembered
        fails("[controller]\ninterface=lan\nhost=127.0.0.1:9\nuser=admin\ntimeout=1\n",
              milliseconds(longest));
    EXPECT_EQ(read_text(state("log/controller_tests.log")).find("s3cret-s3same"), std::string::npos);
    write_config(with_password("secret\r\nmore", 0600));  // what changed is tried at once
    EXPECT_TRUE(panel.open());
}

TEST(SensorFaults, AnOldOrDamagedRecordCacheIsReadAnew) {
    const auto records_read = [](RunningSimulator& simulator, int expected) {
        simulator.requests();
        Temperatures panel;
        EXPECT_TRUE(panel.open());
        EXPECT_EQ(panel.count, expected);
        const auto is_read = [](const std::string& line) { return line.starts_with("0a/23"); };
        return std::ranges::count_if(simulator.requests(), is_read);
    };
    auto simulator = std::make_unique<RunningSimulator>(zones(4));
    EXPECT_GT(records_read(*simulator, 4), 4);
    EXPECT_EQ(records_read(*simulator, 4), 0);
    const std::string good = read_text(cache_file());
    std::string flipped = good;
    flipped[good.size() / 2] ^= 1;
    for (const std::string& bad : {std::string(), flipped, good.substr(0, good.size() / 2), good + good,
                                   good.substr(good.size() / 2), std::string(3000, '\xff')}) {
        write_text(cache_file(), bad);
        EXPECT_GT(records_read(*simulator, 4), 4);
        EXPECT_EQ(read_text(cache_file()), good);
    }
    const int port = simulator->port();
    simulator.reset();
    simulator = std::make_unique<RunningSimulator>(zones(6), Records(), port);
    EXPECT_GT(records_read(*simulator, 6), 6);
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
