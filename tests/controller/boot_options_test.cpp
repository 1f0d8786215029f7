// SPDX-License-Identifier: GPL-3.0-or-later
// Boot flags as a simulated controller sees them.
#include <csignal>
#include <thread>

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

/// Waits until the controller was asked for something; false after ten seconds.
bool is_asked(RunningSimulator& simulator, const std::string& request) {
    for (int looks = 0; looks < 1000; ++looks, usleep(10'000)) {
        if (std::ranges::count(simulator.requests(), request) > 0) return true;
    }
    return false;
}

TEST_F(BootOptions, AnInterruptedChangeNeverBlocksTheNext) {
    write_config(simulator_.section(), "timeout=1\n");
    const std::string flags = valid + " 10 00 00 00";
    // Of another program: respected, and taken over when it never ends.
    ASSERT_EQ(write({0, 1}), "00");
    std::thread other([] {
        usleep(600'000);
        EXPECT_EQ(write({0, 0}), "00");
    });
    simulator_.requests();
    EXPECT_EQ(MOVALSetMode(MOVAL_MODE_ON, 1), 0);
    other.join();
    Strings requests = simulator_.requests();
    const auto begun = std::ranges::find(requests, "00/08.0 00 01");
    EXPECT_EQ(std::count(requests.begin(), begun, "00/08.0 00 00"), 1);  // by whoever began it
    ASSERT_EQ(write({0, 1}), "00");
    EXPECT_EQ(MOVALSetMode(MOVAL_MODE_OFF, 0), 0);
    EXPECT_EQ(parameter(0) + ' ' + parameter(5), "00 00 00 00 00 00");
    // Of ours, at each of its requests: the controller falls silent, the tool is killed, it is told to end.
    for (const auto& [stop, request] : {std::pair<const char*, std::string>{"00", "00 01"},
                                        {nullptr, "03 1f"},
                                        {"05", "05 " + flags},
                                        {nullptr, "00 02"},
                                        {nullptr, "00 00"}}) {
        for (const int how : {0, SIGKILL, SIGTERM}) {
            if (how == 0 && !stop) continue;
            SCOPED_TRACE(request + " " + std::to_string(how));
            ASSERT_EQ(write({3, 4}), "00");
            simulator_.requests();
            simulator_.rules(how == 0 ? std::string("stop 00 08 ") + stop + '\n' : "delay 30000\n");
            const pid_t tool = start_process([] {
                std::signal(SIGTERM, [](int) { _exit(7); });
                return MOVALSetMode(MOVAL_MODE_ON, 1);
            });
            ASSERT_TRUE(is_asked(simulator_, "00/08.0 " + request));
            if (how != 0) kill(tool, how);
            const int ended = finish_process(tool);
            simulator_.rules("");
            if (how == SIGTERM) {  // finished before it ended
                EXPECT_EQ(ended, 7);
                EXPECT_EQ(parameter(0) + ' ' + parameter(5), "00 " + flags);
            }
            const auto start = std::chrono::steady_clock::now();
            EXPECT_NE(mode(), -1);
            EXPECT_EQ(parameter(0), "00");
            EXPECT_EQ(MOVALSetMode(MOVAL_MODE_ON, 1), 0);
            EXPECT_EQ(parameter(5), flags);
            EXPECT_EQ(MOVALSetMode(MOVAL_MODE_OFF, 0), 0);
            EXPECT_EQ(parameter(3) + ' ' + parameter(5), "04 00 00 00 00 00");
            EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
        }
    }
}

}  // namespace
