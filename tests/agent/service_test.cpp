// SPDX-License-Identifier: GPL-3.0-or-later
// What ZELntserver answers, takes up and tells.
#include <sys/socket.h>
#include <sys/stat.h>

#include <array>

#include "access/service_client.h"
#include "service_process.h"
#include "store/registry.h"
#include "zel/access_monitor.h"

namespace zel::test {
namespace {

namespace registry = store::registry;

std::string ask(const std::string& request) {
    return access::request(request, std::chrono::steady_clock::now() + std::chrono::seconds(20)).text;
}

store::UniqueFd connect_to_service() {
    const auto address = access::SocketAddress::of(access::service_socket_path());
    store::UniqueFd client(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    EXPECT_EQ(::connect(client.get(), address->get(), address->size()), 0);
    return client;
}

TEST(Service, OddClientsDoNoHarm) {
    ServiceProcess service;
    ASSERT_TRUE(service.ready());
    EXPECT_EQ(fs::status(access::service_socket_path()).permissions(), fs::perms(0600));
    for (const auto& [request, answer] : std::initializer_list<std::pair<std::string, const char*>>{
             {"reset cpu", "ok"},
             {"reset cpux", "error unknown resource"},
             {std::string("ping\0", 5), "error unknown request"},
             {std::string(257, 'p'), "error request too long"},
             {std::string(100'000, '%'), "error request too long"}})
        EXPECT_EQ(ask(request), answer);
    std::vector<store::UniqueFd> idle(100);
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
    ::chmod(store::state_dir().c_str(), 0755);
    ::chmod(access::service_socket_path().c_str(), 0666);
    EXPECT_EQ(finish_process(start_process([] {
                  return ::setuid(65534) == 0 && connect_to_service() && ask("ping").empty() ? 0 : 1;
              })),
              0);
    EXPECT_EQ(ask("ping"), "ok ZELntserver 4.1.0");
}

TEST(Service, SettingsThatCannotBeReadLeaveTheHeldOnes) {
    ServiceProcess service;
    ASSERT_TRUE(service.ready());
    const auto set_cycle = [](const char* seconds) {
        write_text(registry::path(), std::string("[SOFTWARE/QUD/ZELAgent/CPU]\nCycle=dword:") + seconds);
    };
    set_cycle("300");
    ::kill(service.id(), SIGHUP);
    EXPECT_TRUE(service.says("cpu: Cycle 60 -> 300\n"));
    write_text(registry::path(), "no key file");
    EXPECT_EQ(ask("reset cpu"), "error the settings cannot be read");
    EXPECT_TRUE(service.says(registry::path() + " cannot be understood; reading it as empty.\n"));
    set_cycle("1800");
    EXPECT_EQ(ask("reset cpu"), "ok");
    EXPECT_TRUE(service.says("cpu: Cycle 300 -> 1800\n"));
}

TEST(Service, OnlyOneRunsAndItEndsCleanly) {
    ServiceProcess killed;
    ASSERT_TRUE(killed.ready());
    EXPECT_EQ(killed.finish(SIGKILL), 128 + SIGKILL);
    ASSERT_TRUE(fs::exists(access::service_socket_path()));

    ServiceProcess service;
    ASSERT_TRUE(service.ready());
    EXPECT_NE(read_text(registry::path()).find("CurrentVersion=sz:4.1"), std::string::npos);
    ServiceProcess second;
    EXPECT_FALSE(second.ready());
    EXPECT_EQ(second.said(), "ZELntserver is already running\n");
    EXPECT_EQ(second.finish(), 1);
    EXPECT_EQ(CheckNTserverReady(), 0);
    EXPECT_EQ(service.finish(SIGTERM), 0);
    EXPECT_FALSE(fs::exists(access::service_socket_path()));
}

}  // namespace
}  // namespace zel::test
