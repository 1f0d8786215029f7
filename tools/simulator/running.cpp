// SPDX-License-Identifier: GPL-3.0-or-later
#include "running.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "base/file_io.h"

namespace zel::simulator {
namespace {

std::string text_of(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

sockaddr_in loopback(int port) {
    return {.sin_family = AF_INET,
            .sin_port = htons(static_cast<std::uint16_t>(port)),
            .sin_addr = {htonl(INADDR_LOOPBACK)},
            .sin_zero = {}};
}

/// Runs the command with its output in a file.
pid_t start(std::vector<std::string> command, const std::string& output) {
    std::vector<char*> arguments;
    for (std::string& argument : command)
        arguments.push_back(argument.data());
    arguments.push_back(nullptr);
    const pid_t process = fork();
    if (process != 0) return process;
    dup2(open("/dev/null", O_RDWR), STDIN_FILENO);
    dup2(open(output.c_str(), O_WRONLY | O_CREAT, 0600), STDOUT_FILENO);
    dup2(STDOUT_FILENO, STDERR_FILENO);
    execvp(arguments[0], arguments.data());
    _exit(127);
}

}  // namespace

int new_port() {
    static int made = 0;
    for (int tries = 0;; ++tries) {
        const int port = 20'000 + (getpid() * 8 + made++) % 12'000;
        const base::UniqueFd probe(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        const sockaddr_in address = loopback(port);
        if (bind(probe.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 || tries > 99)
            return port;
    }
}

Running::Running(Simulation simulation) : simulation_(std::move(simulation)) {
    const std::string output = simulation_.folder + "/output";
    std::filesystem::remove_all(simulation_.folder);
    if (!write_files(simulation_)) {
        failure_ = simulation_.folder + " cannot be written";
        return;
    }
    process_ = start(command_line(simulation_), output);
    if (!answers()) failure_ = "no answer: " + text_of(output);
}

Running::~Running() {
    if (process_ <= 0) return;
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
}

void Running::rules(const std::string& text) const {
    static int given = 0;  // the same rules once more begin to count anew, too
    std::ofstream(simulation_.folder + "/rules") << text << "# " << ++given << '\n';
    kill(process_, SIGCONT);
}

std::vector<std::string> Running::all_requests() {
    std::ifstream file(simulation_.folder + "/requests");
    file.seekg(static_cast<std::streamoff>(seen_));
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line) && !file.eof();) {
        seen_ += line.size() + 1;
        lines.push_back(line);
    }
    return lines;
}

std::vector<std::string> Running::requests() {
    std::vector<std::string> lines = all_requests();
    std::erase_if(lines, [](const std::string& line) { return line.starts_with("06/3"); });
    return lines;
}

/// Sends RMCP presence pings until one is answered.
bool Running::answers() const {
    const sockaddr_in address = loopback(simulation_.port);
    const std::uint8_t ping[12] = {0x06, 0, 0xff, 0x06, 0, 0, 0x11, 0xbe, 0x80, 0, 0, 0};
    for (int tries = 0; tries < 500; ++tries) {
        const base::UniqueFd client(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        sendto(client.get(), ping, sizeof ping, 0, reinterpret_cast<const sockaddr*>(&address),
               sizeof address);
        pollfd waiting{client.get(), POLLIN, 0};
        if (poll(&waiting, 1, 20) == 1) return true;
    }
    return false;
}

}  // namespace zel::simulator
