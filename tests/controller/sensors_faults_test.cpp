// SPDX-License-Identifier: GPL-3.0-or-later
// The six calls of the sensor panels where something is wrong: controller, way to it, files.
#include <sys/stat.h>

#include <memory>
#include <span>

#include "running_simulator.h"
#include "store/registry.h"
#include "zel/tracelog.h"

namespace {

using namespace zel;
using namespace zel::test;
using simulator::Sensor;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

std::vector<Sensor> zones(int count) {
    std::vector<Sensor> sensors(static_cast<std::size_t>(count));
    for (std::size_t n = 1; n <= sensors.size(); ++n)
        sensors[n - 1] = {.name = "Zone " + std::to_string(n), .number = static_cast<std::uint8_t>(n)};
    return sensors;
}

std::string cache_file() {
    std::string found;
    for (const auto& entry : fs::directory_iterator(state("sdr"))) {
        if (entry.path().extension() != ".lock") found = entry.path();
    }
    return found;
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
    EXPECT_EQ(simulator.requests(),
              (std::vector<std::string>{"04/26.0 01 08 00 00 00 4b 00 00", "04/27.0 01",
                                        "04/26.0 02 08 00 00 00 4b 00 00", "04/26.0 03 08 00 00 00 4b 00 00",
                                        "04/27.0 03", "04/26.0 08 08 00 00 00 4b 00 00", "04/27.0 08"}));
    simulator.rules("answer 04 27 07 cb\n");  // refuses to be read
    ASSERT_TRUE(panel.open());
    for (const int n : {1, 2, 3, 4, 5, 6, 8})
        EXPECT_EQ(panel.row("Zone " + std::to_string(n))->lHighWarning, n == 1 || n == 8 ? 75 : 70) << n;
    EXPECT_EQ(panel.row("Zone 7")->lHighFatal, SENSOR_NO_THRESHOLD);
    EXPECT_EQ(panel.row("Zone 7")->bSettable, 0);
    EXPECT_FALSE(store::registry::key_exists("SOFTWARE/QUD/ZELAgent/Sensors/0.2"));
}

TEST(SensorFaults, ASlowControllerIsWaitedForAndOneThatStopsIsNot) {
    RunningSimulator simulator(zones(20));
    write_config(simulator.section(), "timeout=1\n");
    simulator.rules("delay 5000\n");
    Temperatures panel;
    ASSERT_TRUE(panel.open());
    panel.row("Zone 9")->lHighWarning = 72;
    panel.row("Zone 9")->bChangeThreshFlag = 1;
    panel.row("Zone 1")->dwMonitorFlag = 0;
    simulator.requests();
    ASSERT_TRUE(panel.write());
    EXPECT_EQ(simulator.requests().size(), 2U);

    simulator.rules("stop 04 27 0c\n");
    Temperatures stopped;
    ASSERT_TRUE(stopped.find());
    stopped.data[0].lHighFatal = -1;
    auto start = steady_clock::now();
    EXPECT_FALSE(stopped.read());
    EXPECT_LT(steady_clock::now() - start, milliseconds(1900));
    EXPECT_EQ(stopped.data[0].lHighFatal, -1);  // nothing half-read
    simulator.rules("");
    ASSERT_TRUE(stopped.open());
    EXPECT_EQ(stopped.row("Zone 9")->lHighWarning, 72);

    // Stopped while writing: one wait, the flags are kept all the same.
    simulator.rules("stop 04 26 02\n");
    for (const char* name : {"Zone 2", "Zone 3"}) {
        stopped.row(name)->lHighWarning = 74;
        stopped.row(name)->bChangeThreshFlag = 1;
    }
    stopped.row("Zone 5")->dwMonitorFlag = 0;
    start = steady_clock::now();
    EXPECT_FALSE(stopped.write());
    EXPECT_LT(steady_clock::now() - start, milliseconds(1900));
    simulator.rules("");
    ASSERT_TRUE(panel.open());
    EXPECT_EQ(panel.row("Zone 1")->dwMonitorFlag + panel.row("Zone 5")->dwMonitorFlag, 0U);
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
    panel.count = -7;
    const auto fails = [&](const std::string& config, milliseconds longest = milliseconds(1900)) {
        write_config(config);
        const auto start = steady_clock::now();
        EXPECT_FALSE(panel.find()) << config;
        EXPECT_LT(steady_clock::now() - start, longest) << config;
        EXPECT_EQ(panel.count, -7) << config;
    };
    fails(with_password("s3cret-s3same", 0600));
    fails(with_password("secret", 0640));                 // that the group can read
    fails(with_password("secretsecretsecretsec", 0600));  // 21 bytes
    fails("[controller]\ninterface=none\n");
    fails("[controller]\ninterface=inband\ndevice=/nonexistent\n");
    fails(simulator.section() + "cipher_suite=99\n");
    fails("[controller\n");
    const std::string nobody = "[controller]\ninterface=lan\nhost=127.0.0.1:9\nuser=admin\ntimeout=1\n";
    fails(nobody);
    fails(nobody, milliseconds(200));  // remembered
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
        return std::ranges::count(simulator.requests(), true,
                                  [](const std::string& line) { return line.starts_with("0a/23"); });
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
    // Nowhere to keep it: slower, but not less.
    fs::remove_all(state("sdr"));
    write_text(state("sdr"), "a file");
    EXPECT_GT(records_read(*simulator, 4), 4);
    fs::remove(state("sdr"));
    EXPECT_GT(records_read(*simulator, 4), 4);
    const int port = simulator->port();
    simulator.reset();
    simulator = std::make_unique<RunningSimulator>(zones(6), Records(), port);
    EXPECT_GT(records_read(*simulator, 6), 6);
}

TEST(SensorFaults, HostileRecordsInTheRepositoryHideNoOtherSensor) {
    const auto zone = zones(3);
    auto short_one = simulator::record_of(zone[1]);
    short_one.resize(20);
    short_one[4] = 15;
    auto long_name = simulator::record_of(zone[2]);
    long_name[47] = 0xdf;
    const auto twice = simulator::record_of(zone[2]);
    auto other = simulator::record_of(zone[2]);
    other[3] = 0x12;
    const RunningSimulator simulator(zone, {twice, short_one, long_name, other, twice});
    Temperatures panel;
    for (const char* size : {"ff", "00", "30"}) {
        simulator.rules("length 02 " + std::string(size) + "\n");
        ASSERT_TRUE(panel.open());
        EXPECT_EQ(panel.count, 2) << size;
        fs::remove_all(state("sdr"));
    }
    simulator.rules("");
    ASSERT_TRUE(panel.open());
    EXPECT_EQ(panel.count, 3);
    EXPECT_EQ(panel.row("Zone 3")->lHighFatal, 80);
    simulator.rules("answer 0a 22 00 c1\n");
    fs::remove(cache_file());
    EXPECT_FALSE(panel.find());
}

}  // namespace
