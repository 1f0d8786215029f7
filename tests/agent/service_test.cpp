// SPDX-License-Identifier: GPL-3.0-or-later
// What ZELntserver answers, takes up and tells.
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <array>

#include "client/service_client.h"
#include "service_process.h"
#include "store/registry.h"
#include "zel/access_monitor.h"

namespace zel::test {
namespace {

namespace registry = store::registry;

std::string ask(const std::string& request) {
    return client::request(request, std::chrono::steady_clock::now() + std::chrono::seconds(20)).text;
}

base::UniqueFd connect_to_service() {
    const auto address = client::SocketAddress::of(client::service_socket_path());
    base::UniqueFd client(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    EXPECT_EQ(::connect(client.get(), address->get(), address->size()), 0);
    return client;
}

TEST(Service, OddClientsDoNoHarm) {
    ServiceProcess service;
    ASSERT_TRUE(service.ready());
    EXPECT_EQ(fs::status(client::service_socket_path()).permissions(), fs::perms(0600));
    for (const auto& [request, answer] : std::initializer_list<std::pair<std::string, const char*>>{
             {"reset cpu", "ok"},
             {"reload", "ok"},
             {"reset cpux", "error unknown resource"},
             {std::string("ping\0", 5), "error unknown request"},
             {std::string(257, 'p'), "error request too long"},
             {std::string(100'000, '%'), "error request too long"}})
        EXPECT_EQ(ask(request), answer);
    std::vector<base::UniqueFd> idle(100);
    for (auto& client : idle) {
        client = connect_to_service();
        EXPECT_EQ(CheckNTserverReady(), 0);
    }
    // One that never takes its answers loses the connection; it holds up nobody.
    while (::send(idle.back().get(), "ping", 4, MSG_NOSIGNAL | MSG_DONTWAIT) == 4 || errno == EAGAIN) {
    }
    EXPECT_EQ(CheckNTserverReady(), 0);
    if (::geteuid() != 0) return;
    // Another user is turned away, whatever the file's mode says.
    ::chmod(base::settings_folder().c_str(), 0755);
    ::chmod(client::service_socket_path().c_str(), 0666);
    EXPECT_EQ(finish_process(start_process([] {
                  return ::setuid(65534) == 0 && connect_to_service() && ask("ping").empty() ? 0 : 1;
              })),
              0);
    EXPECT_EQ(ask("ping"), "ok ZELntserver 4.1.1");
}

TEST(Service, OnlyOneRunsAndItEndsCleanly) {
    ServiceProcess killed;
    ASSERT_TRUE(killed.ready());
    EXPECT_EQ(killed.finish(SIGKILL), 128 + SIGKILL);
    ASSERT_TRUE(fs::exists(client::service_socket_path()));
    EXPECT_EQ(CheckNTserverReady(), -1);

    ServiceProcess service;
    ASSERT_TRUE(service.ready());
    EXPECT_NE(read_text(registry::path()).find("CurrentVersion=sz:4.1"), std::string::npos);
    ServiceProcess second;
    EXPECT_FALSE(second.ready());
    EXPECT_EQ(second.said(), "ZELntserver is already running\n");
    EXPECT_EQ(second.finish(), 1);
    EXPECT_EQ(CheckNTserverReady(), 0);
    EXPECT_TRUE(client::is_service_marked());
    EXPECT_EQ(service.finish(SIGTERM), 0);
    EXPECT_FALSE(client::is_service_marked());
    EXPECT_FALSE(fs::exists(client::service_socket_path()));

    // What it cannot go on after is no clean end: it has to be started again.
    ServiceProcess failing;
    ASSERT_TRUE(failing.ready());
    const rlimit no_files{0, 0};
    ASSERT_EQ(::prlimit(failing.id(), RLIMIT_NOFILE, &no_files, nullptr), 0);
    EXPECT_EQ(ask("ping"), "");
    EXPECT_EQ(failing.finish(), 1);
}

}  // namespace
}  // namespace zel::test
