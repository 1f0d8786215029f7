// SPDX-License-Identifier: GPL-3.0-or-later
// The six calls of the sensor panels where something is wrong: controller, way to it, files.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "running_simulator.h"
#include "store/paths.h"
#include "store/registry.h"

namespace {

using namespace zel;
using namespace zel::test;
using simulator::Sensor;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

std::vector<Sensor> zones(int count) {
    std::vector<Sensor> sensors(static_cast<std::size_t>(count));
    for (int n = 0; n < count; ++n) {
        sensors[static_cast<std::size_t>(n)].name = "Zone " + std::to_string(n + 1);
        sensors[static_cast<std::size_t>(n)].number = static_cast<std::uint8_t>(n + 1);
    }
    return sensors;
}

std::string cache_file() {
    std::string found;
    for (const auto& entry : std::filesystem::directory_iterator(store::state_dir() + "/sdr")) {
        if (entry.path().extension() != ".lock") found = entry.path();
    }
    return found;
}

std::size_t count_of(const std::vector<std::string>& requests, const std::string& start) {
    return static_cast<std::size_t>(
        std::ranges::count_if(requests, [&](const auto& line) { return line.starts_with(start); }));
}

TEST(SensorFaults, WhatCannotBeWrittenIsRefusedAndTheRestIsWritten) {
    RunningSimulator simulator(zones(8));
    simulator.rules("answer 04 26 02 d5\nanswer 04 26 03 00\n");  // one refuses, one only says it took them
    Temperatures panel;
    ASSERT_TRUE(panel.open());
    for (int n = 0; n < 8; ++n) {
        panel.data[static_cast<std::size_t>(n)].lHighWarning = 75;
        panel.data[static_cast<std::size_t>(n)].bChangeThreshFlag = 1;
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
    const std::string log = trace_log();
    EXPECT_NE(log.find("Zone 2: completion code d5h"), std::string::npos) << log;
    ASSERT_TRUE(panel.open());
    for (int n = 1; n <= 8; ++n) {
        EXPECT_EQ(panel.row("Zone " + std::to_string(n))->lHighWarning, n == 1 || n == 8 ? 75 : 70) << n;
    }
    EXPECT_FALSE(store::registry::key_exists("SOFTWARE/QUD/ZELAgent/Sensors/0.2"));
}

TEST(SensorFaults, ASensorThatRefusesToBeReadHasNoThresholds) {
    const RunningSimulator simulator(zones(3));
    simulator.rules("answer 04 27 02 cb\n");
    Temperatures panel;
    ASSERT_TRUE(panel.open());
    EXPECT_EQ(panel.row("Zone 2")->lHighFatal, SENSOR_NO_THRESHOLD);
    EXPECT_EQ(panel.row("Zone 2")->bSettable, 0);
    EXPECT_EQ(panel.row("Zone 2")->dwMonitorFlag, 0U);
    EXPECT_EQ(panel.row("Zone 3")->lHighFatal, 80);
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
    EXPECT_LT(elapsed_since(start), milliseconds(1900));
    EXPECT_EQ(stopped.data[0].lHighFatal, -1);  // nothing half-read
    simulator.rules("");
    simulator.resume();
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
    EXPECT_LT(elapsed_since(start), milliseconds(1900));
    simulator.rules("");
    simulator.resume();
    ASSERT_TRUE(panel.open());
    EXPECT_EQ(panel.row("Zone 1")->dwMonitorFlag, 0U);
    EXPECT_EQ(panel.row("Zone 5")->dwMonitorFlag, 0U);
    EXPECT_EQ(panel.row("Zone 3")->lHighWarning, 70);
}

TEST(SensorFaults, WithoutAControllerTheCallsFailInTime) {
    const RunningSimulator simulator(zones(1));
    const std::string password = simulator.section().substr(0, simulator.section().find("password_file"));
    const std::string own = store::agent_dir() + "/password";
    const auto with_password = [&](const std::string& text, mode_t mode) {
        write_text(own, text);
        chmod(own.c_str(), mode);
        write_config(password + "workaround=opensesspriv\npassword_file=" + own + "\ntimeout=1\n");
    };
    Temperatures panel;
    panel.count = -7;
    const auto fails = [&](const char* why) {
        const auto start = steady_clock::now();
        EXPECT_FALSE(panel.find()) << why;
        EXPECT_LT(elapsed_since(start), milliseconds(1900)) << why;
        EXPECT_EQ(panel.count, -7) << why;
    };
    with_password("secret\r\nmore", 0600);
    EXPECT_TRUE(panel.find());
    EXPECT_TRUE(panel.read());
    panel.count = -7;
    with_password("s3cret-s3same", 0600);
    fails("wrong password");
    with_password("secret", 0640);
    fails("a password that the group can read");
    with_password("secretsecretsecretsec", 0600);
    fails("21 bytes");
    write_config("[controller]\ninterface=none\n");
    fails("no controller");
    write_config("[controller]\ninterface=inband\ndevice=/nonexistent\n");
    fails("no device");
    write_config(simulator.section(), "cipher_suite=99\n");
    fails("a value out of range");
    write_text(store::config_file(), "[controller\n");
    fails("not a configuration");
    write_config("[controller]\ninterface=lan\nhost=127.0.0.1:9\nuser=admin\ntimeout=1\n");
    fails("nobody listens");
    const auto start = steady_clock::now();
    fails("nobody listens, asked again");
    EXPECT_LT(elapsed_since(start), milliseconds(200));
    EXPECT_EQ(trace_log().find("s3cret-s3same"), std::string::npos);
    write_config(simulator.section());  // what changed is tried at once
    EXPECT_TRUE(panel.find());
    EXPECT_TRUE(panel.read());
}

TEST(SensorFaults, AnOldOrDamagedRecordCacheIsReadAnew) {
    int port = 0;
    {
        RunningSimulator simulator(zones(4));
        port = simulator.port();
        Temperatures panel;
        ASSERT_TRUE(panel.open());
        const std::string good = read_text(cache_file());
        const auto half = static_cast<std::ptrdiff_t>(good.size() / 2);
        std::string flipped = good;
        flipped[good.size() / 2] = flipped[good.size() / 2] == '0' ? '1' : '0';
        for (const std::string& bad :
             {std::string(), flipped, good.substr(0, good.size() / 2), good + good,
              std::string(good.begin() + half, good.end()), std::string(3000, '\xff')}) {
            write_text(cache_file(), bad);
            simulator.requests();
            ASSERT_TRUE(panel.open());
            ASSERT_EQ(panel.count, 4);
            EXPECT_GT(count_of(simulator.requests(), "0a/23"), 4U);
            EXPECT_EQ(read_text(cache_file()), good);
        }
        // Nowhere to keep it: slower, but not less.
        std::filesystem::remove_all(store::state_dir() + "/sdr");
        write_text(store::state_dir() + "/sdr", "a file");
        ASSERT_TRUE(panel.open());
        std::filesystem::remove(store::state_dir() + "/sdr");
        ASSERT_TRUE(panel.open());
    }
    const RunningSimulator more(zones(6), {}, port);
    Temperatures panel;
    ASSERT_TRUE(panel.open());
    EXPECT_EQ(panel.count, 6);
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
        std::filesystem::remove_all(store::state_dir() + "/sdr");
    }
    simulator.rules("");
    ASSERT_TRUE(panel.open());
    EXPECT_EQ(panel.count, 3);
    EXPECT_EQ(panel.row("Zone 3")->lHighFatal, 80);
    simulator.rules("answer 0a 22 00 c1\n");
    std::filesystem::remove(cache_file());
    EXPECT_FALSE(panel.find());
}

}  // namespace
