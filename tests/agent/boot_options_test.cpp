// SPDX-License-Identifier: GPL-3.0-or-later
// The chassis light and boot flags against a controller made up of the parameters that it holds.
#include "access/boot_options.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>

#include "bmc/controller.h"
#include "zel/access_control.h"

namespace {

using zel::access::BootDevice, zel::access::boots_from, zel::access::set_boot_device;
using Bytes = std::vector<std::uint8_t>;

/// What the controller holds and does.
struct {
    std::map<int, Bytes> parameters;
    std::map<int, std::uint8_t> refused;  ///< Completion codes of parameters that cannot be written.
    std::vector<Bytes> requests;          ///< Command and data.
    std::size_t silent_from = ~std::size_t{0};
    bool session = false;
} simulated;

std::optional<zel::bmc::Reply> answer(std::uint8_t command, const Bytes& data) {
    if (command == 0x04) return zel::bmc::Reply{data.at(0) == 99 ? std::uint8_t{0xcc} : std::uint8_t{0}, {}};
    const int parameter = data.at(0);
    auto& held = simulated.parameters[parameter];
    if (command == 0x09) {
        Bytes reply{1, data[0]};
        reply.insert(reply.end(), held.begin(), held.end());
        return zel::bmc::Reply{0, reply};
    }
    if (simulated.refused.contains(parameter)) return zel::bmc::Reply{simulated.refused[parameter], {}};
    held.assign(data.begin() + 1, data.end());
    return zel::bmc::Reply{};
}

void reset() {
    simulated = {};
    simulated.parameters = {{0, {0}}, {5, {0, 0, 0, 0, 0}}};
}

const std::uint8_t valid = std::filesystem::exists("/sys/firmware/efi") ? 0xa0 : 0x80;

}  // namespace

namespace zel::bmc {

Controller::Controller() = default;
Controller::~Controller() = default;
void Controller::Close::operator()(ipmi_ctx* /*context*/) const {}
void Controller::end_session() {
    simulated.session = false;
}
std::optional<Reply> Controller::request(std::uint8_t lun, NetFn netfn, std::uint8_t command,
                                         std::span<const std::uint8_t> data) {
    simulated.session = true;
    simulated.requests.push_back({command});
    simulated.requests.back().insert(simulated.requests.back().end(), data.begin(), data.end());
    const bool silent = simulated.requests.size() > simulated.silent_from;
    if (silent || lun != 0 || netfn != kChassis) return std::nullopt;
    return answer(command, {data.begin(), data.end()});
}
Controller& controller() {
    static Controller instance;
    return instance;
}

}  // namespace zel::bmc

namespace {

TEST(BootOptions, TheLightTakesItsIntervalInOneByte) {
    reset();
    for (std::uint8_t seconds : {std::uint8_t{255}, std::uint8_t{99}})
        EXPECT_EQ(ZELChassisIdentify_V15(&seconds) == CHASSIS_IDENTIFY_FAILED, seconds == 99);
    EXPECT_EQ(simulated.requests, (std::vector<Bytes>{{4, 255}, {4, 99}}));
    EXPECT_FALSE(simulated.session);
}

TEST(BootOptions, TheDeviceIsForOneBootAndOthersFlagsAreLeft) {
    const auto code = static_cast<std::uint8_t>(BootDevice::diagnostic);
    reset();
    EXPECT_TRUE(set_boot_device(BootDevice::diagnostic, true));
    const Bytes read{9, 5, 0, 0}, flags{8, 5, valid, code, 0, 0, 0};
    EXPECT_EQ(simulated.requests,
              (std::vector<Bytes>{
                  read, {8, 0, 1}, {8, 3, 0x1f}, {8, 4, 0xff, 0xff}, flags, {8, 0, 2}, {8, 0, 0}, read}));
    EXPECT_EQ(boots_from(BootDevice::diagnostic), true);
    EXPECT_TRUE(set_boot_device(BootDevice::diagnostic, false));
    EXPECT_EQ(simulated.parameters[5], Bytes(5, 0));
    for (const Bytes& others : {Bytes{0x80, 0x04, 0, 0, 0}, Bytes{0x00, code, 0, 0, 0}}) {
        simulated.parameters[5] = others;
        EXPECT_EQ(boots_from(BootDevice::diagnostic), false);
        EXPECT_TRUE(set_boot_device(BootDevice::diagnostic, false));
        EXPECT_EQ(simulated.parameters[5], others);
    }
    EXPECT_FALSE(simulated.session);
}

TEST(BootOptions, OnlyWhatTheControllerTookIsSuccess) {
    constexpr std::size_t never = ~std::size_t{0};
    const auto set = [](const std::map<int, std::uint8_t>& refused, std::size_t silent_from) {
        reset();
        simulated.refused = refused;
        simulated.silent_from = silent_from;
        return set_boot_device(BootDevice::diagnostic, true);
    };
    EXPECT_TRUE(set({{0, 0x80}, {3, 0x80}, {4, 0xcc}}, never));
    EXPECT_FALSE(set({{5, 0xcc}}, never));
    EXPECT_EQ(simulated.parameters[0], Bytes{0});  // not left "in progress"
    EXPECT_FALSE(set({{0, 0x81}}, never));         // somebody else is at it
    EXPECT_EQ(simulated.parameters[5], Bytes(5, 0));
    for (std::size_t answered = 0; answered < 8; ++answered)
        EXPECT_FALSE(set({}, answered)) << answered;
    simulated = {};
    simulated.parameters[5] = {valid};
    EXPECT_EQ(boots_from(BootDevice::diagnostic), std::nullopt);
}

}  // namespace
