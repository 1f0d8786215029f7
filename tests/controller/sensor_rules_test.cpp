// SPDX-License-Identifier: GPL-3.0-or-later
// Whose settings are whose, what may be written, and what is put back, with the controller played by the
// test.
#include <random>

#include "answered_controller.h"
#include "bmc/controller_guid.h"
#include "bmc/sensors_reapply.h"
#include "bmc/sensors_state.h"
#include "panel_table.h"
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
bool write_first(const std::array<std::int64_t, 4>& values) {
    Panel panel;
    if (!panel.open()) return false;
    auto& row = panel.data.front();
    row.lHighFatal = values[0], row.lHighWarning = values[1];
    row.lLowWarning = values[2], row.lLowFatal = values[3];
    row.dwMonitorFlag = row.bChangeThreshFlag = 1;
    return panel.write();
}

std::optional<int> put_back() {
    return bmc::ThresholdKeeper(bmc::controller()).put_back();
}

Sensor volts(int step) {
    Sensor sensor = simulator::many_sensors(0, 1)[0];
    sensor.factor = step;
    sensor.codes = {171, 162, 153, 189, 198, 207};
    return sensor;
}

TEST(SensorRules, AFlagIsWrittenWhateverOrderOthersLeft) {
    // A sensor that others left in disorder keeps nobody from writing, and its flag comes back.
    const Sensor no_uc{.name = "T", .not_settable = 1U << simulator::kUc};
    PlayedController controller{.sensors = {no_uc}};
    answer_request = std::ref(controller);
    fs::remove_all(base::settings_folder());
    ASSERT_TRUE(write_first<Temperatures>({80, 70, 6, 0}));
    Temperatures panel;
    for (const int warning : {80, 70}) {
        controller.sensors[0].codes[simulator::kUnc] = warning;
        ASSERT_TRUE(panel.open() && panel.write());
        EXPECT_EQ(panel.data[0].lHighFatal, 80);
        EXPECT_EQ(panel.data[0].dwMonitorFlag, warning == 80 ? 0U : 1U);
    }
}

TEST(SensorRules, WhateverIsTypedTheControllerKeepsAnOrderOrNothingChanges) {
    std::mt19937 random(11);
    int written = 0;
    for (int round = 0; round < 5000; ++round) {
        Sensor sensor = volts(1 + static_cast<int>(random() % 80));
        sensor.linearisation = std::array<std::uint8_t, 8>{0, 0, 0, 1, 7, 8, 10, 11}.at(random() % 8);
        sensor.not_settable = static_cast<std::uint8_t>(random() & random() & simulator::kAllThresholds);
        PlayedController controller{.sensors = {sensor}};
        answer_request = std::ref(controller);
        bmc::SensorState state{.sensor = bmc::parse_record(simulator::record_of(sensor)).sensor.value()};
        ASSERT_EQ(bmc::read_sensor(bmc::controller(), state), bmc::WriteResult::done);
        bmc::ThresholdValues wanted = state.values;
        for (std::int64_t& value : wanted)
            value += (static_cast<int>(random() % 5) - 2) * (value / 40 + 1);
        const bool done = write_sensor(bmc::controller(), state, wanted) == bmc::WriteResult::done;
        if (controller.sensors[0].codes == sensor.codes) continue;
        ++written;
        const int may_change = ~sensor.not_settable & simulator::kFourThresholds;
        double above = 1e9;
        for (const unsigned bit : bmc::kAllThresholdBits) {
            const int code = controller.sensors[0].codes.at(bit);
            const double value = state.sensor.conversion.exact(static_cast<std::uint8_t>(code));
            ASSERT_TRUE(done && value < above) << round;
            ASSERT_TRUE((may_change >> bit & 1) != 0 || code == sensor.codes.at(bit)) << round;
            above = value;
        }
    }
    EXPECT_GT(written, 300);
}

TEST(SensorRules, TrulyNonLinearOnesAreShownWithoutFurtherRequests) {
    PlayedController controller{.sensors = {{.name = "Thermistor", .linearisation = 0x71}}};
    answer_request = std::ref(controller);
    for (const auto& [set, asked] : {std::pair(70, 4 + 3), {70, 0}, {75, 1}}) {  // 3: for its record
        controller.sensors[0].codes[simulator::kUnc] = set;
        controller.commands.clear();
        Temperatures panel;
        ASSERT_TRUE(panel.open());
        EXPECT_EQ(panel.data[0].lHighWarning, set + 1);
        EXPECT_EQ(panel.data[0].bSettable, 0);
        EXPECT_EQ(std::ranges::count(controller.commands, kFactors), asked);
    }
}

TEST(SensorIdentity, SettingsAreThoseOfOneSensorOfOneController) {
    const Sensor cpu{.name = "CPU1 Temp", .number = 48};
    // As earlier versions wrote them: whose name they fit first.
    write_text(store::registry::path(),
               "[SOFTWARE/QUD/ZELAgent/Sensors/0.48]\nName=sz:CPU1 Temp\n"
               "Monitor=dword:0\nHighFatal=dword:85\n");
    Sensor inlet = cpu, lun = cpu, voltage = cpu;
    inlet.name = "Inlet Temp", lun.lun = 1, voltage.type = 2, voltage.unit = 4;
    using Somebody = std::tuple<const char*, Sensor, Guid, const char*, bool>;
    std::uint8_t repository = 100;
    for (const auto& [what, sensor, guid, target, same] :
         {Somebody{"another name", inlet, kOurs, "test", false},
          {"the first whom they fit", cpu, kOurs, "test", true},
          {"the same after a reset", cpu, kOurs, "test", true},
          {"another LUN", lun, kOurs, "test", false},
          {"a voltage", voltage, kOurs, "test", false},
          {"another controller", cpu, kOther, "test", false},
          {"without a GUID", cpu, {}, "test", false},
          {"with an empty GUID", cpu, Guid(16, 0xff), "elsewhere", false},
          {"the first one again, moved", cpu, kOurs, "elsewhere", true}}) {
        PlayedController controller{.sensors = {sensor}, .guid = guid, .repository = repository++};
        answer_request = std::ref(controller);
        answered_target = target;
        EXPECT_EQ(put_back(), same ? 1 : 0) << what;
        Temperatures panel;
        ASSERT_TRUE(panel.open());
        if (panel.count == 0) continue;
        EXPECT_EQ(panel.data[0].dwMonitorFlag, same ? 0U : 1U) << what;
        EXPECT_EQ(panel.data[0].lHighFatal, same ? 85 : 80) << what;
        panel.data[0].dwMonitorFlag = 0;  // theirs, which must not touch ours
        EXPECT_TRUE(panel.write());
    }
    // Another board that tells of the same records: the file of them does not hide that. What it cannot tell
    // at present is not taken for what it is.
    PlayedController board{.sensors = {cpu}, .guid = kOther, .repository = --repository};
    answer_request = std::ref(board);
    EXPECT_EQ(put_back(), 0);
    board.refuse = {{0x08, 0xc0}};
    ++board.repository;
    EXPECT_FALSE(Temperatures{}.find());
    // The versions play no part.
    EXPECT_EQ(bmc::identity_of("", "a", {1, 9, 9, 9, 9, 9, 2, 3, 4, 5, 6, 9}), "device 01 0203040506 at a");
}

TEST(ThresholdKeeper, ComparesOneSensorAtATimeAndPutsAllBackOnceOneDiffers) {
    PlayedController controller{.sensors = {volts(67), {.name = "A", .number = 2}}};
    const auto fresh = controller.sensors;
    const AnswerRequest answer = [&](auto netfn, auto command, auto data) {
        return controller(netfn, command, data);
    };
    answer_request = answer;
    bmc::ThresholdKeeper keeper(bmc::controller());
    const auto look = [&] {
        controller.commands.clear();
        return keeper.look();
    };
    EXPECT_EQ(look(), 0);
    EXPECT_TRUE(controller.commands.empty());                          // nothing was ever written
    ASSERT_TRUE(write_first<Voltages>({13310, 12663, 11457, 10854}));  // 13333, as the sensor keeps it
    ASSERT_TRUE(write_first<Temperatures>({85, 70, 5, 0}));
    const auto written = controller.sensors;
    EXPECT_EQ(look(), 0);
    EXPECT_EQ(std::ranges::count(controller.commands, kSet), 0);
    for (int minute = 0; minute < 4; ++minute) {
        EXPECT_EQ(look(), 0);
        EXPECT_EQ(controller.commands, std::vector{kGet});
    }
    controller.sensors = fresh;  // a restart that took less than a minute
    EXPECT_EQ(look(), 2);
    EXPECT_TRUE(std::ranges::equal(controller.sensors, written, {}, &Sensor::codes, &Sensor::codes));
    controller.sensors[1].codes[simulator::kUc] = 82;  // another program
    EXPECT_EQ(look().value_or(9) + look().value_or(9), 1);
    controller.refuse = {{kGet, 0xc0}};  // busy: nothing is known, and asked again
    EXPECT_EQ(look(), 0);
    answer_request = [](auto, auto, auto) { return std::nullopt; };
    EXPECT_EQ(look(), std::nullopt);
    controller.refuse.clear();
    controller.sensors = fresh;
    answer_request = answer;
    EXPECT_EQ(look(), 2);
    // An administrator writes: the controller has it already, the registry a moment later.
    controller.sensors[1].codes[simulator::kUc] = 87;
    on_pause = [] {
        const store::registry::Entry entry{"HighFatal", 87U};
        EXPECT_EQ(store::registry::set("SOFTWARE/QUD/ZELAgent/Sensors/0.2", std::array{entry}),
                  store::Status::ok);
    };
    EXPECT_EQ(look().value_or(9) + look().value_or(9), 0);
    on_pause = nullptr;
    EXPECT_EQ(controller.sensors[1].codes[simulator::kUc], 87);
}

}  // namespace
