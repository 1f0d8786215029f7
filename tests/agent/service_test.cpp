// SPDX-License-Identifier: GPL-3.0-or-later
// ZELntserver, run as a process of its own.
#include <fcntl.h>
#include <sys/stat.h>

#include <csignal>
#include <cstdlib>

#include "access/service_client.h"
#include "service_home.h"
#include "store/registry.h"
#include "zel/access_monitor.h"
#include "zel/win32.h"

namespace zel::test {
namespace {

using std::chrono::seconds;
using std::chrono::steady_clock;
constexpr seconds kPatience{20};

class Process {
  public:
    explicit Process(const char* option = "--foreground", const char* more = nullptr) {
        int ends[2];
        EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0);
        output_ = store::UniqueFd(ends[0]);
        const store::UniqueFd input(ends[1]);
        id_ = start_process([&] {
            for (const int stream : {1, 2})
                ::dup2(input.get(), stream);
            return ::execl(SERVICE_PROGRAM, SERVICE_PROGRAM, option, more, nullptr);
        });
    }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
    ~Process() {
        if (id_ > 0) {
            EXPECT_EQ(finish(SIGTERM), 0);
        }
    }

    /// Reads what the process writes until `text` is part of it. False when it ends before that.
    bool says(const std::string& text) {
        char buffer[512];
        while (said_.find(text) == std::string::npos) {
            const ssize_t got = ::read(output_.get(), buffer, sizeof buffer);
            if (got <= 0) return false;
            said_.append(buffer, static_cast<std::size_t>(got));
        }
        return true;
    }

    /// The exit status, or 128 + the signal that ended it.
    int finish(int signal = 0) {
        if (signal != 0) ::kill(id_, signal);
        return finish_process(std::exchange(id_, -1));
    }

    [[nodiscard]] pid_t id() const { return id_; }
    [[nodiscard]] const std::string& said() const { return said_; }

  private:
    pid_t id_ = -1;
    store::UniqueFd output_;
    std::string said_;
};

constexpr const char* kReady = "is ready\n";

std::string ask(const std::string& request) {
    return access::request(request, steady_clock::now() + kPatience).text;
}

store::UniqueFd connect_to_service() {
    const auto address = access::SocketAddress::of(access::service_socket_path());
    store::UniqueFd client(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    EXPECT_EQ(::connect(client.get(), address->get(), address->size()), 0);
    return client;
}

using Service = AgentHome;

TEST_F(Service, OddClientsDoNoHarm) {
    Process service;
    ASSERT_TRUE(service.says(kReady));
    struct stat info {};
    ASSERT_EQ(::stat(access::service_socket_path().c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777U, 0600U);
    struct Case {
        std::string request;
        const char* answer;
    };
    for (const auto& [request, answer] :
         {Case{"reset cpu", "ok"}, Case{"reset cpux", "error unknown resource"},
          Case{"reset ", "error unknown resource"}, Case{"PING", "error unknown request"},
          Case{std::string("ping\0", 5), "error unknown request"},
          Case{std::string(256, '\xff'), "error unknown request"},
          Case{std::string(257, 'p'), "error request too long"},
          Case{std::string(100'000, '%'), "error request too long"}}) {
        EXPECT_EQ(ask(request), answer);
    }
    std::vector<store::UniqueFd> idle;
    for (int i = 0; i < 100; ++i) {
        idle.push_back(connect_to_service());
        EXPECT_EQ(CheckNTserverReady(), 0) << "client " << i;
    }
    // The newest idle client is still served, on the connection that it has.
    EXPECT_EQ(::send(idle.back().get(), "reset cpu", 9, MSG_NOSIGNAL), 9);
    char answer[8];
    EXPECT_EQ(::recv(idle.back().get(), answer, sizeof answer, 0), 2);
    // One that never takes its answers loses the connection; it holds up nobody.
    while (::send(idle.back().get(), "ping", 4, MSG_NOSIGNAL | MSG_DONTWAIT) == 4 || errno == EAGAIN) {
    }
    EXPECT_EQ(CheckNTserverReady(), 0);
}

TEST_F(Service, OtherUsersAreTurnedAway) {
    if (::geteuid() != 0) GTEST_SKIP() << "needs root";
    Process service;
    ASSERT_TRUE(service.says(kReady));
    for (const fs::path& folder : {fs::path(store::agent_dir()).parent_path(), fs::path(store::agent_dir()),
                                   fs::path(store::state_dir())}) {
        ::chmod(folder.c_str(), 0755);
    }
    ::chmod(access::service_socket_path().c_str(), 0666);
    const pid_t stranger = start_process([] {
        const bool strange = ::setuid(65534) == 0 && connect_to_service();
        return strange && ask("ping").empty() ? 0 : 1;
    });
    EXPECT_EQ(finish_process(stranger), 0);
    EXPECT_EQ(ask("ping"), "ok ZELntserver 4.1.0");
}

TEST_F(Service, ChangedSettingsAreTakenUpAndTold) {
    Process service;
    ASSERT_TRUE(service.says(kReady));
    const CpuThresholdRow total{1, 97, 90, 85, 80};
    const CpuCycleRecord cycle{20, 300};
    EXPECT_NE(PutCpuThreshold(0, &total), 0);
    EXPECT_TRUE(service.says("cpu: TOTAL FatalReport 95 -> 97\n"));
    EXPECT_NE(PutCycletoReg(&cycle), 0);
    EXPECT_TRUE(service.says("cpu: SamplingInterval 10 -> 20\ncpu: Cycle 60 -> 300\n"));

    const auto set_cycle = [](std::uint32_t value) {
        const std::array values{store::registry::Entry{"CYCLE", value}};
        store::registry::set("SOFTWARE\\QUD\\ZELALERTMAN\\REPORTTABLE\\EVENTLOG", values);
    };
    set_cycle(600);
    ::kill(service.id(), SIGHUP);
    EXPECT_TRUE(service.says("eventlog: CYCLE (not set) -> 600\n"));
    set_cycle(900);
    const HANDLE event = OpenEvent(0, 0, "Eventlog_Cycle_Event");
    ASSERT_NE(event, nullptr);
    EXPECT_NE(SetEvent(event), 0);
    CloseHandle(event);
    EXPECT_TRUE(service.says("eventlog: CYCLE 600 -> 900\n"));

    write_registry("no key file");
    EXPECT_EQ(ask("reset cpu"), "error the settings cannot be read");
    write_registry("[SOFTWARE/QUD/ZELAgent/CPU]\nCycle=dword:1800\n");
    EXPECT_EQ(ask("reset cpu"), "ok");
    EXPECT_TRUE(service.says("cpu: Cycle 300 -> 1800\n"));
    EXPECT_NE(read_text(state_files("log").front() + "/ZELntserver.log").find("cpu: Cycle 300 -> 1800"),
              std::string::npos);
}

TEST_F(Service, OnlyOneRunsAndItEndsCleanly) {
    const store::UniqueFd manager(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{AF_UNIX, {}};
    const std::string name = '\0' + ("zel-test-" + std::to_string(::getpid()));
    name.copy(address.sun_path, sizeof address.sun_path);
    ASSERT_EQ(::bind(manager.get(), reinterpret_cast<sockaddr*>(&address),
                     static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size())),
              0);
    const auto told = [&] {
        char text[64];
        const ssize_t got = ::recv(manager.get(), text, sizeof text, 0);
        return std::string(text, static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    };
    Process killed;
    ASSERT_TRUE(killed.says(kReady));
    EXPECT_EQ(killed.finish(SIGKILL), 128 + SIGKILL);
    ASSERT_TRUE(fs::exists(access::service_socket_path()));

    ::setenv("NOTIFY_SOCKET", ('@' + name.substr(1)).c_str(), 1);
    Process service;
    ::unsetenv("NOTIFY_SOCKET");
    EXPECT_EQ(told(), "READY=1");
    EXPECT_EQ(CheckNTserverReady(), 0);
    Process second;
    EXPECT_FALSE(second.says(kReady));
    EXPECT_EQ(second.said(), "ZELntserver is already running\n");
    EXPECT_EQ(second.finish(), 1);
    EXPECT_EQ(CheckNTserverReady(), 0);
    EXPECT_EQ(service.finish(SIGTERM), 0);
    EXPECT_EQ(told(), "STOPPING=1");
    EXPECT_FALSE(fs::exists(access::service_socket_path()));
}

TEST_F(Service, VersionIsWrittenOnceAndNeverOver) {
    const std::string mine = "[software\\qud\\zelagent]\ncurrentversion=4.0\n";  // its type is missing
    for (const auto& [before, after] : {std::pair<std::string, std::string>{"", "CurrentVersion=sz:4.1"},
                                        {mine, mine},
                                        {"no key file", "no key file"}}) {
        write_registry(before);
        Process service;
        EXPECT_TRUE(service.says(kReady)) << before;
        EXPECT_NE(read_text(store::registry::path()).find(after), std::string::npos) << before;
        EXPECT_EQ(service.said().find("does not parse") != std::string::npos, before == "no key file");
    }
    EXPECT_TRUE(state_files("corrupt").empty());
}

TEST_F(Service, OptionsAreChecked) {
    Process version("--version");
    EXPECT_TRUE(version.says("ZELntserver 4.1.0\n"));
    EXPECT_EQ(version.finish(), 0);
    Process refused("--foreground", "--help");
    EXPECT_TRUE(refused.says("usage: "));
    EXPECT_EQ(refused.finish(), 2);
}

}  // namespace
}  // namespace zel::test
