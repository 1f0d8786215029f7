// SPDX-License-Identifier: GPL-3.0-or-later
// Two processes and the service write to one store at once. ZEL_WRITES says how often; scripts/fuzz stress
// has more patience than a test.
#include <cstdlib>

#include "service_process.h"
#include "store/registry.h"

namespace zel::test {
namespace {

namespace registry = store::registry;
constexpr int kWritesPerRound = 200;
constexpr const char* kKey = "SOFTWARE/QUD/ZELAgent/Writers";

/// Writes values of its own, half a round, and counts them. 0 when nobody took back what it had written.
int write_half(const std::string& writer) {
    std::array<std::uint32_t, 8> last{};
    for (std::uint32_t i = 0; i < kWritesPerRound / 2; ++i) {
        const std::string name = writer + std::to_string(i % last.size());
        last.at(i % last.size()) = i;
        const auto write = [&](registry::Edit& edit) {
            return edit.set(kKey, name, i) && edit.count(kKey, "Count");
        };
        if (registry::change(write) != store::Status::ok) return 1;
        for (std::size_t own = 0; own < std::min<std::size_t>(i + 1, last.size()); ++own)
            if (registry::get_dword(kKey, writer + std::to_string(own)) != last.at(own)) return 2;
    }
    return 0;
}

TEST(Writers, OfTwoProcessesAndTheServiceLoseNothing) {
    const char* const wanted = std::getenv("ZEL_WRITES");
    const int writes = wanted != nullptr ? std::atoi(wanted) : 3 * kWritesPerRound;
    int done = 0;
    for (; done < writes && !testing::Test::HasFailure(); done += kWritesPerRound) {
        fs::remove_all(base::settings_folder());
        const std::array writers{start_process([] { return write_half("a"); }),
                                 start_process([] { return write_half("b"); })};
        ServiceProcess service;  // which writes its first values
        EXPECT_TRUE(service.ready());
        for (const pid_t writer : writers)
            EXPECT_EQ(finish_process(writer), 0);
        const std::string text = read_text(registry::path());
        EXPECT_NE(text.find("Count=dword:" + std::to_string(kWritesPerRound) + '\n'), std::string::npos)
            << text;
        EXPECT_EQ(registry::get("SOFTWARE/QUD/ZELAgent", "CurrentVersion"),
                  registry::Value(std::string("4.1")));
        EXPECT_TRUE(state_files(".tmp.").empty() && state_files(".corrupt-").empty());
    }
    std::printf("%d writes of two processes beside the service\n", done);
}

}  // namespace
}  // namespace zel::test
