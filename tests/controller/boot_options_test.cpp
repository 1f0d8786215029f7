// SPDX-License-Identifier: GPL-3.0-or-later
// Boot flags as a simulated controller sees them.
#include "bmc/controller.h"
#include "running_simulator.h"
#include "store/registry.h"
#include "zel/access_control.h"

namespace {

using namespace zel;
using namespace zel::test;
using Bytes = std::vector<std::uint8_t>;

constexpr const char* kDiagnostic = "10";
const std::string valid = fs::exists("/sys/firmware/efi") ? "a0" : "80";

class BootOptions : public ::testing::Test {
  protected:
    BootOptions() { set_target("ipmi:diag"); }
    static void set_target(const char* target) {
        const store::registry::Entry entry{"Target", target};
        EXPECT_EQ(store::registry::set("SOFTWARE/QUD/ZELAgent/Maintenance", std::array{entry}),
                  store::Status::ok);
    }
    /// What the controller answers to anybody else's request, in hexadecimal digits.
    static std::string ask(std::uint8_t command, const Bytes& data) {
        const auto reply = bmc::controller().request(0, bmc::kChassis, command, data);
        std::ostringstream text;
        text << std::hex << std::setfill('0') << std::setw(2) << (reply ? int{reply->completion} : -1);
        for (const int byte : reply ? reply->data : Bytes())
            text << ' ' << std::setw(2) << byte;
        bmc::controller().end_session();
        return text.str();
    }
    static std::string write(const Bytes& data) { return ask(0x08, data); }
    /// A parameter's bytes.
    static std::string parameter(std::uint8_t number) { return ask(0x09, {number, 0, 0}).substr(9); }
    static int mode() {
        int mode = -1;
        return GetUtlBootMode(&mode) ? mode : -1;
    }

    RunningSimulator simulator_{{}};
};

TEST_F(BootOptions, OnHoldsForOneBootAndOffTakesBackOnlyThat) {
    EXPECT_EQ(mode(), MOVAL_MODE_OFF);
    for (const auto& [target, device] : {std::pair("ipmi:safe", "0c"), {"ipmi:diag", kDiagnostic}}) {
        set_target(target);
        for (const int on : {MOVAL_MODE_ON, MOVAL_MODE_ON_REBOOT}) {
            simulator_.requests();
            EXPECT_EQ(MOVALSetMode(on, 1), 0);
            const std::string read = "00/09.0 05 00 00", set = "00/08.0 ";
            const std::string flags = valid + ' ' + device + " 00 00 00";
            EXPECT_EQ(simulator_.requests(),
                      (Strings{read, set + "00 01", set + "03 1f", set + "04 ff ff", set + "05 " + flags,
                               set + "00 02", set + "00 00", read}));
            EXPECT_EQ(parameter(5), flags);
            EXPECT_EQ(parameter(3), "1f");
            EXPECT_EQ(parameter(0), "00");
            EXPECT_EQ(mode(), MOVAL_MODE_ON);
        }
        EXPECT_EQ(MOVALSetMode(MOVAL_MODE_OFF, 0), 0);
        EXPECT_EQ(parameter(5), "00 00 00 00 00");
        EXPECT_EQ(mode(), MOVAL_MODE_OFF);
    }
    // Others' flags: another device, not valid, locked.
    for (const Bytes& others :
         {Bytes{5, 0x80, 0x04, 0, 0, 0}, {5, 0, 0x10, 0, 0, 0}, {0x85, 0x80, 0x10, 0, 0, 0}}) {
        ASSERT_EQ(write(others), "00");
        const std::string before = parameter(5);
        EXPECT_EQ(mode(), MOVAL_MODE_OFF);
        EXPECT_EQ(MOVALSetMode(MOVAL_MODE_OFF, 0), 0);
        EXPECT_EQ(parameter(5), before);
    }
}

TEST_F(BootOptions, OnlyWhatTheControllerTookIsSuccess) {
    for (const auto& [mode, flag] : {std::pair(1, 0), {17, 0}, {0, 1}, {2, 1}, {-1, 1}})
        EXPECT_NE(MOVALSetMode(mode, flag), 0);
    EXPECT_EQ(simulator_.requests(), Strings());
    const std::string none = "00 00 00 00 00";
    for (const auto& [rules, result, flags] :
         {std::tuple("answer 00 08 05 cc\n", false, none),  // refused
          {"answer 00 08 05 00\n", false, none},            // only says it took them
          {"answer 00 08 00 81\n", false, none},            // somebody else is at it
          {"answer 00 09 05 c1\n", false, none},
          {"answer 00 08 00 80\nanswer 00 08 03 80\nanswer 00 08 04 80\n", true,  // it has no more than flags
           valid + " 10 00 00 00"}}) {
        simulator_.rules(rules);
        EXPECT_EQ(MOVALSetMode(MOVAL_MODE_ON, 1) == 0, result) << rules;
        simulator_.rules("");
        EXPECT_EQ(parameter(5), flags) << rules;
        EXPECT_EQ(parameter(0), "00") << rules;
    }
    ASSERT_EQ(write({0, 1}), "00");
    EXPECT_NE(MOVALSetMode(MOVAL_MODE_OFF, 0), 0);
    EXPECT_EQ(parameter(0), "01");
    write_config(simulator_.section(), "timeout=1\n");
    simulator_.rules("stop 00 09 05\n");
    EXPECT_EQ(mode(), -1);
    EXPECT_EQ(GetInstallStatus(), -1);
}

}  // namespace
