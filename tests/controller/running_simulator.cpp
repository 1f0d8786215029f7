// SPDX-License-Identifier: GPL-3.0-or-later
#include "running_simulator.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

#include "store/file_io.h"
#include "store/paths.h"
#include "store/registry.h"
#include "zel/tracelog.h"

namespace zel::test {
namespace {

class FreshFolder : public ::testing::Environment {
  public:
    void SetUp() override {
        ASSERT_NE(mkdtemp(folder_.data()), nullptr);
        setenv("ZelDir", folder_.c_str(), 1);
        ASSERT_TRUE(store::make_private_dir(store::state_dir()));
        ASSERT_EQ(TraceLogInit(0, "controller_tests", 0, 5, 0), 0);
    }
    void TearDown() override { std::filesystem::remove_all(folder_); }

  private:
    std::string folder_ = std::filesystem::temp_directory_path() / "zel-controller-XXXXXX";
};
[[maybe_unused]] const auto* const fresh_folder = ::testing::AddGlobalTestEnvironment(new FreshFolder);

sockaddr_in loopback(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

int free_port() {
    const store::UniqueFd probe(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_in address = loopback(0);
    socklen_t size = sizeof address;
    bind(probe.get(), reinterpret_cast<sockaddr*>(&address), size);
    getsockname(probe.get(), reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin_port);
}

/// Sends RMCP presence pings until one is answered.
bool wait_until_present(int port) {
    const std::array<std::uint8_t, 12> ping{0x06, 0, 0xff, 0x06, 0, 0, 0x11, 0xbe, 0x80, 0, 0, 0};
    const sockaddr_in address = loopback(port);
    const auto start = std::chrono::steady_clock::now();
    while (elapsed_since(start) < std::chrono::seconds(10)) {
        const store::UniqueFd client(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        sendto(client.get(), ping.data(), ping.size(), 0, reinterpret_cast<const sockaddr*>(&address),
               sizeof address);
        pollfd waiting{client.get(), POLLIN, 0};
        if (poll(&waiting, 1, 20) == 1) return true;
    }
    return false;
}

pid_t start(std::vector<std::string> command, const std::string& output) {
    std::vector<char*> arguments;
    for (auto& argument : command)
        arguments.push_back(argument.data());
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions{};
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.c_str(), O_WRONLY | O_CREAT, 0600);
    posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
    pid_t process = -1;
    posix_spawnp(&process, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    return process;
}

}  // namespace

std::string read_text(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void write_text(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

std::string trace_log() {
    std::string text;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(store::state_dir())) {
        if (entry.path().string().find("/log/") != std::string::npos) text += read_text(entry.path());
    }
    return text;
}

void write_config(const std::string& section, const std::string& more) {
    write_text(store::config_file(), section + more);
}

RunningSimulator::RunningSimulator(std::vector<simulator::Sensor> sensors, Records more_records, int port)
    : simulation_{.folder = store::agent_dir() + "/simulator",
                  .port = port != 0 ? port : free_port(),
                  .module = ZELSIM_MODULE,
                  .sensors = std::move(sensors),
                  .more_records = std::move(more_records)} {
    std::filesystem::remove_all(simulation_.folder);
    if (port == 0) {  // a new server, not one changed
        std::filesystem::remove_all(store::state_dir() + "/sdr");
        std::filesystem::remove(store::registry::path());
    }
    EXPECT_TRUE(simulator::write_files(simulation_));
    process_ = start(simulator::command_line(simulation_), simulation_.folder + "/output");
    EXPECT_TRUE(wait_until_present(simulation_.port)) << read_text(simulation_.folder + "/output");
    write_config(section());
}

RunningSimulator::~RunningSimulator() {
    if (::testing::Test::HasFailure()) std::cerr << trace_log();
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
}

void RunningSimulator::rules(const std::string& text) const {
    write_text(simulation_.folder + "/rules", text);
}

void RunningSimulator::resume() const {
    kill(process_, SIGCONT);
}

std::vector<std::string> RunningSimulator::requests() {
    const std::string text = read_text(simulation_.folder + "/requests");
    std::istringstream fresh(text.substr(seen_));
    seen_ = text.size();
    std::vector<std::string> lines;
    for (std::string line; std::getline(fresh, line);) {
        if (!line.starts_with("06/3")) lines.push_back(line);
    }
    return lines;
}

}  // namespace zel::test
