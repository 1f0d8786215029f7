// SPDX-License-Identifier: GPL-3.0-or-later
// Whose settings are whose, what may be written, and what is put back, with the controller played by the
// test.
#include <atomic>
#include <functional>
#include <mutex>
#include <random>
#include <thread>

#include "access/sensors_reapply.h"
#include "access/sensors_state.h"
#include "answered_controller.h"
#include "bmc/controller_guid.h"
#include "running_simulator.h"
#include "store/registry.h"

namespace {

using namespace zel;
using namespace zel::test;
using simulator::Sensor;
using Guid = std::vector<std::uint8_t>;

constexpr std::uint8_t kFactors = 0x23, kSet = 0x26, kGet = 0x27;
const Guid kOurs{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
const Guid kOther{2, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};

template <class Panel>
bool write_first(const std::array<std::int64_t, 4>& values, std::uint32_t monitor = 1) {
    Panel panel;
    if (!panel.open()) return false;
    auto& row = panel.data.front();
    row.lHighFatal = values[0], row.lHighWarning = values[1];
    row.lLowWarning = values[2], row.lLowFatal = values[3];
    row.dwMonitorFlag = monitor;
    row.bChangeThreshFlag = 1;
    return panel.write();
}

Sensor volts(int millivolts) {
    return {.name = "+12V",
            .type = 2,
            .unit = 4,
            .format = 0,
            .factor = millivolts,
            .exponent = -3,
            .codes = {171, 162, 153, 189, 198, 207},
            .max_code = 0,
            .min_code = 0};
}

struct Attempt {
    const char* what;
    Sensor sensor;
    std::array<std::int64_t, 4> values;
    bool done;
    int set_requests;
};

TEST(SensorRules, OnlyWhatStaysInOrderIsWritten) {
    constexpr auto uc = 1U << simulator::kUc, unc = 1U << simulator::kUnc;
    const Sensor twelve = volts(67);
    const auto codes = [](std::array<int, 6> six) { return Sensor{.name = "T", .codes = six}; };
    for (const Attempt& attempt : std::initializer_list<Attempt>{
             {"two values, one code", twelve, {12650, 12640, 11457, 10854}, false, 0},
             {"the code of the one that stays", twelve, {12650, 12663, 11457, 10854}, false, 0},
             {"the code that it has", twelve, {13250, 12663, 11457, 10854}, true, 0},
             {"the next code", twelve, {13333, 12663, 11457, 10854}, true, 1},
             {"one that cannot be set", {.name = "T", .not_settable = uc}, {85, 70, 5, 0}, false, 0},
             {"others beside it", {.name = "T", .not_settable = uc}, {80, 75, 5, 0}, true, 1},
             {"below one that stays", {.name = "T", .not_settable = unc}, {60, 70, 5, 0}, false, 0},
             {"at the non-recoverable one", {.name = "T"}, {90, 70, 5, 0}, false, 0},
             {"below the non-recoverable one", {.name = "T"}, {80, 70, 5, -6}, false, 0},
             {"one that bounds nothing", codes({5, 0, 2, 70, 80, 0}), {85, 70, 5, -6}, true, 1},
             {"all that there is", {.name = "T"}, {89, 88, -3, -4}, true, 1}}) {
        PlayedController controller{.sensors = {attempt.sensor}, .guid = kOurs};
        answer_request = std::ref(controller);
        fs::remove_all(store::state_dir());
        const bool done = attempt.sensor.type == 2 ? write_first<Voltages>(attempt.values)
                                                   : write_first<Temperatures>(attempt.values);
        EXPECT_EQ(done, attempt.done) << attempt.what;
        EXPECT_EQ(std::ranges::count(controller.commands, kSet), attempt.set_requests) << attempt.what;
    }
    // All of them shown, and the order of a sensor that others left in disorder keeps nobody from writing.
    PlayedController controller{.sensors = {{.name = "T", .not_settable = uc | unc}}, .guid = kOurs};
    answer_request = std::ref(controller);
    fs::remove_all(store::state_dir());
    ASSERT_TRUE(write_first<Temperatures>({80, 70, 6, 0}));
    Temperatures panel;
    ASSERT_TRUE(panel.open());
    EXPECT_EQ(panel.data[0].lHighFatal, 80);
    EXPECT_EQ(panel.data[0].dwMonitorFlag, 1U);
    for (const int warning : {80, 70}) {
        controller.sensors[0].codes[simulator::kUnc] = warning;
        ASSERT_TRUE(panel.open() && panel.write());
        EXPECT_EQ(panel.data[0].dwMonitorFlag, warning == 80 ? 0U : 1U);
    }
}

TEST(SensorRules, WhateverIsTypedTheControllerKeepsAnOrderOrNothingChanges) {
    std::mt19937 random(11);
    const auto any = [&random](int limit) {
        return static_cast<int>(random() % static_cast<unsigned>(limit));
    };
    int written = 0;
    for (int round = 0; round < 5000; ++round) {
        Sensor sensor = volts(1 + any(80));
        if (any(3) == 0) sensor.linearisation = std::array<std::uint8_t, 5>{1, 7, 8, 10, 11}.at(round % 5U);
        sensor.offset = any(100);
        sensor.thresholds = static_cast<std::uint8_t>(any(64) | any(64));
        sensor.not_settable = static_cast<std::uint8_t>(any(64) & any(64));
        PlayedController controller{.sensors = {sensor}};
        answer_request = std::ref(controller);
        const auto parsed = bmc::parse_record(simulator::record_of(sensor)).sensor;
        if (!parsed) continue;
        access::SensorState state{.sensor = *parsed};
        ASSERT_EQ(access::read_sensor(bmc::controller(), state), access::Access::done);
        access::ThresholdValues wanted = state.values;
        for (std::int64_t& value : wanted)
            if (value != SENSOR_NO_THRESHOLD) value += (any(5) - 2) * (value / 40 + 1);
        const bool done = write_sensor(bmc::controller(), state, wanted) == access::Access::done;
        const auto &before = sensor.codes, &after = controller.sensors[0].codes;
        ASSERT_TRUE(done || after == before) << round;
        written += done && after != before ? 1 : 0;
        const auto value = [&](unsigned bit) {
            return parsed->conversion.exact(static_cast<std::uint8_t>(after.at(bit)));
        };
        std::optional<unsigned> above;
        for (const unsigned bit : bmc::kAllThresholdBits) {
            const auto may = sensor.thresholds & ~sensor.not_settable & simulator::kFourThresholds;
            ASSERT_TRUE((may >> bit & 1) != 0 || after.at(bit) == before.at(bit)) << round;
            if ((sensor.thresholds >> bit & 1) == 0) continue;
            const bool moved =
                above && (after.at(*above) != before.at(*above) || after.at(bit) != before.at(bit));
            // Non-recoverable ones on the wrong side, as where the function falls, bound nothing.
            ASSERT_TRUE(!moved || value(*above) > value(bit) || above == simulator::kUnr ||
                        bit == simulator::kLnr)
                << round;
            above = bit;
        }
    }
    EXPECT_GT(written, 300);
}

TEST(SensorRules, TrulyNonLinearOnesAreShownWithoutFurtherRequests) {
    PlayedController controller{.sensors = {{.name = "Thermistor", .linearisation = 0x71}}, .guid = kOurs};
    answer_request = std::ref(controller);
    for (const auto& [set, asked] : {std::pair(70, 4), {70, 0}, {75, 1}}) {
        controller.sensors[0].codes[simulator::kUnc] = set;
        controller.commands.clear();
        Temperatures panel;
        ASSERT_TRUE(panel.open());
        EXPECT_EQ(panel.data[0].lHighWarning, set + 1);
        EXPECT_EQ(panel.data[0].lLowFatal, 1);
        EXPECT_EQ(panel.data[0].bSettable, 0);
        const auto sent = std::ranges::count(controller.commands, kFactors) -
                          std::ranges::count(controller.commands, 0x22) * 3;  // those of the record itself
        EXPECT_EQ(sent, asked);
    }
}

// ---- identity

struct Somebody {
    const char* what;
    Sensor sensor;
    Guid guid;
    bool same;
    const char* target = "test";
};

TEST(SensorIdentity, SettingsAreThoseOfOneSensorOfOneController) {
    const Sensor cpu{.name = "CPU1 Temp", .number = 48};
    const auto like = [&cpu](auto change) {
        Sensor sensor = cpu;
        change(sensor);
        return sensor;
    };
    const auto reset_and_put_back = [](PlayedController& controller) {
        ++controller.repository;
        answer_request = std::ref(controller);
        return access::ThresholdKeeper(bmc::controller()).put_back();
    };
    PlayedController ours{.sensors = {cpu}, .guid = kOurs};
    answer_request = std::ref(ours);
    ASSERT_TRUE(write_first<Temperatures>({85, 75, 5, 0}, 0));
    std::uint8_t state = 100;
    for (const Somebody& one : std::initializer_list<Somebody>{
             {"after a reset", cpu, kOurs, true},
             {"another name", like([](Sensor& s) { s.name = "Inlet Temp"; }), kOurs, false},
             {"another LUN", like([](Sensor& s) { s.lun = 1; }), kOurs, false},
             {"a voltage", like([](Sensor& s) { s.type = 2, s.unit = 4, s.exponent = 3; }), kOurs, false},
             {"another controller", cpu, kOther, false},
             {"one without a GUID", cpu, {}, false},
             {"one with an empty GUID", cpu, Guid(16, 0xff), false, "elsewhere"},
             {"the first one again", cpu, kOurs, true}}) {
        PlayedController controller{.sensors = {one.sensor}, .guid = one.guid, .repository = state++};
        answer_request = std::ref(controller);
        answered_target = one.target;
        EXPECT_EQ(access::ThresholdKeeper(bmc::controller()).put_back(), one.same ? 1 : 0) << one.what;
        Temperatures panel;
        ASSERT_TRUE(panel.open());
        if (panel.count == 0) continue;
        EXPECT_EQ(panel.data[0].dwMonitorFlag, one.same ? 0U : 1U) << one.what;
        EXPECT_EQ(panel.data[0].lHighFatal, one.same ? 85 : 80) << one.what;
        if (one.same) continue;
        panel.data[0].dwMonitorFlag = 0;  // theirs, which must not touch ours
        EXPECT_TRUE(panel.write());
    }
    EXPECT_EQ(reset_and_put_back(ours), 0);

    // The board was changed for one that tells of the same records: the file of them does not hide that.
    PlayedController board{.sensors = {cpu}, .guid = kOther, .repository = ours.repository};
    answer_request = std::ref(board);
    EXPECT_EQ(access::ThresholdKeeper(bmc::controller()).put_back(), 0);
    // What is told in passing is not taken for what it is.
    board.refuse = {{0x08, 0xc0}};
    ++board.repository;
    EXPECT_FALSE(Temperatures{}.find());
    // Without a GUID: kind, maker, product and place, and not the versions between them.
    std::vector<std::uint8_t> device(15, 1);
    const std::string identity = bmc::identity_of("", "lan a", device);
    device[1] = device[2] = device[3] = device[5] = device[11] = 9;
    EXPECT_EQ(bmc::identity_of("", "lan a", device), identity);
    EXPECT_NE(bmc::identity_of("", "lan b", device), identity);
    device[9] = 9;
    EXPECT_NE(bmc::identity_of("", "lan a", device), identity);
}

TEST(SensorIdentity, SettingsOfAnEarlierVersionGoToWhomTheyFitAndStayThere) {
    const std::string old =
        "[SOFTWARE/QUD/ZELAgent/Sensors/0.48]\nName=sz:CPU1 Temp\nMonitor=dword:0\nHighFatal=dword:85\n";
    write_text(store::registry::path(), old);
    const auto high_fatal = [](const char* name, const Guid& guid) {
        static std::uint8_t repository = 0;
        PlayedController controller{
            .sensors = {{.name = name, .number = 48}}, .guid = guid, .repository = ++repository};
        answer_request = std::ref(controller);
        EXPECT_TRUE(access::ThresholdKeeper(bmc::controller()).put_back());
        Temperatures panel;
        EXPECT_TRUE(panel.open() && panel.write());
        return std::pair(panel.data[0].lHighFatal, panel.data[0].dwMonitorFlag);
    };
    EXPECT_EQ(high_fatal("Inlet Temp", kOurs), std::pair(std::int64_t{80}, 1U));
    EXPECT_EQ(read_text(store::registry::path()), old);
    EXPECT_EQ(high_fatal("CPU1 Temp", kOurs), std::pair(std::int64_t{85}, 0U));
    EXPECT_EQ(high_fatal("CPU1 Temp", kOther), std::pair(std::int64_t{80}, 1U));
    EXPECT_EQ(high_fatal("CPU1 Temp", kOurs), std::pair(std::int64_t{85}, 0U));
}

// ---- what the service does once a minute

/// Writes a threshold; between the controller and the registry the service looks. What it put back.
int write_while_the_service_looks(PlayedController& controller, access::ThresholdKeeper& keeper) {
    std::mutex mutex;
    std::atomic<int> reads = 0;
    std::atomic<bool> looking = false;
    std::optional<int> given = 0;
    std::thread service;
    answer_request = [&](auto netfn, auto command, auto data) {
        std::unique_lock lock(mutex);
        const auto reply = controller(netfn, command, data);
        reads += command == kGet ? 1 : 0;
        if (command != kSet || looking.exchange(true)) return reply;
        lock.unlock();
        const int before = reads;
        service = std::thread([&] {
            for (int looks = 0; looks < 2 && given; ++looks)  // one for each sensor with thresholds of ours
                given = std::max(given, keeper.look());
        });
        // It compares, finds a difference and may not go on from there.
        for (int i = 0; i < 100 && reads < before + 3; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return reply;
    };
    EXPECT_TRUE(write_first<Temperatures>({87, 70, 5, 0}));
    service.join();
    return given.value_or(9);
}

TEST(ThresholdKeeper, ComparesOneSensorAtATimeAndPutsAllBackOnceOneDiffers) {
    PlayedController controller{
        .sensors = {volts(67), {.name = "A", .number = 2}, {.name = "B", .number = 3}}, .guid = kOurs};
    answer_request = std::ref(controller);
    access::ThresholdKeeper keeper(bmc::controller());
    EXPECT_EQ(keeper.look(), 0);
    EXPECT_TRUE(controller.commands.empty());  // nothing was ever written
    const auto fresh = controller.sensors;
    ASSERT_TRUE(write_first<Voltages>({13310, 12663, 11457, 10854}));  // 13333, as the sensor keeps it
    ASSERT_TRUE(write_first<Temperatures>({85, 70, 5, 0}));
    const auto look = [&] {
        controller.commands.clear();
        return keeper.look();
    };
    EXPECT_EQ(look(), 0);
    EXPECT_EQ(std::ranges::count(controller.commands, kGet), 2);
    EXPECT_EQ(std::ranges::count(controller.commands, kSet), 0);
    for (int minute = 0; minute < 4; ++minute) {
        EXPECT_EQ(look(), 0);
        EXPECT_EQ(controller.commands, std::vector{kGet});
    }
    const auto written = controller.sensors;
    controller.sensors = fresh;  // a restart that took less than a minute
    EXPECT_EQ(look(), 2);
    EXPECT_EQ(controller.sensors[0].codes, written[0].codes);
    EXPECT_EQ(controller.sensors[1].codes, written[1].codes);
    controller.sensors[1].codes[simulator::kUc] = 82;  // another program
    int given = 0;
    for (int minute = 0; minute < 2; ++minute)
        given += look().value_or(9);
    EXPECT_EQ(given, 1);
    controller.refuse = {{kGet, 0xc0}};  // busy: nothing is known, and asked again
    EXPECT_EQ(look(), 0);
    answer_request = [](auto, auto, auto) { return std::nullopt; };
    EXPECT_EQ(look(), std::nullopt);
    controller.refuse.clear();
    controller.sensors = fresh;
    answer_request = std::ref(controller);
    EXPECT_EQ(look(), 2);
    EXPECT_EQ(write_while_the_service_looks(controller, keeper), 0);
    EXPECT_EQ(controller.sensors[1].codes[simulator::kUc], 87);
}

}  // namespace
