// SPDX-License-Identifier: GPL-3.0-or-later
// libzelaccess: CPU thresholds, and a service that hangs.
#include <sys/socket.h>
#include <sys/time.h>

#include <chrono>
#include <csignal>

#include "client/service_client.h"
#include "home.h"
#include "store/registry.h"
#include "zel/access_control.h"
#include "zel/access_monitor.h"
#include "zel/smbios.h"

namespace zel::test {
namespace {

TEST(Access, HungServiceCountsAsNotRunningAndHoldsNobodyUp) {
    using std::chrono::milliseconds, std::chrono::steady_clock;
    const auto address = client::SocketAddress::of(client::service_socket_path());
    const base::UniqueFd hung(::socket(AF_UNIX, SOCK_SEQPACKET, 0));
    ASSERT_EQ(::bind(hung.get(), address->get(), address->size()) | ::listen(hung.get(), 1), 0);
    struct sigaction interrupt {};
    interrupt.sa_handler = [](int) {};
    ::sigaction(SIGALRM, &interrupt, nullptr);
    const itimerval often{{0, 20'000}, {0, 20'000}}, never{};
    // First no answer comes; soon the queue of connections is full, and connecting itself hangs.
    for (int attempt = 0; attempt < 3; ++attempt) {
        ::setitimer(ITIMER_REAL, &often, nullptr);
        const auto start = steady_clock::now();
        EXPECT_EQ(CheckNTserverReady(), -1);
        const auto took = steady_clock::now() - start;
        ::setitimer(ITIMER_REAL, &never, nullptr);
        EXPECT_TRUE(took >= milliseconds(1000) && took <= milliseconds(1500));
        const CpuCycleRecord cycle{5 + attempt, 300};
        EXPECT_NE(PutCycletoReg(&cycle), 0);
        EXPECT_LE(steady_clock::now() - start, took + milliseconds(500));
    }
}

}  // namespace
}  // namespace zel::test
