// SPDX-License-Identifier: GPL-3.0-or-later
// ZELhooks gives each event of the service's log to the programs of alert.d. A process of its own, with a user of its
// own: what an administrator's script does, or does not end, reaches neither the service nor the settings.
#include <fcntl.h>
#include <poll.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <string_view>

#include "base/file_io.h"
#include "dispatcher.h"
#include "hook_run.h"
#include "log_follower.h"
#include "say.h"

namespace zel::hooks {
namespace {

constexpr const char* kUsage = "usage: ZELhooks [--foreground | --help | --version]\n";

/// A program started without these would hand files of its own to hooks as their input and output.
void fill_standard_streams() {
    while (true) {
        const int fd = ::open("/dev/null", O_RDWR | O_CLOEXEC);
        if (fd > STDERR_FILENO) ::close(fd);
        if (fd < 0 || fd > STDERR_FILENO) return;
    }
}

/// A descriptor that becomes readable when the program is to end: after the hook that runs.
base::UniqueFd redirect_signals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int one : {SIGTERM, SIGINT})
        sigaddset(&signals, one);
    ::sigprocmask(SIG_BLOCK, &signals, nullptr);
    return base::UniqueFd(::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
}

bool is_readable(int fd) {
    pollfd one{.fd = fd, .events = POLLIN, .revents = 0};
    return ::poll(&one, 1, 0) > 0;
}

/// Until the log's folder changes or the program is to end.
void wait_for_change(const LogFollower& log, bool watching, int signals) {
    constexpr int kSlow = 5'000;  // milliseconds, where nothing tells of a change
    std::array<pollfd, 2> changes{{{.fd = signals, .events = POLLIN, .revents = 0},
                                   {.fd = log.watch(), .events = POLLIN, .revents = 0}}};
    ::poll(changes.data(), changes.size(), watching ? -1 : kSlow);
}

int run() {
    ::umask(S_IRWXG | S_IRWXO);
    fill_standard_streams();
    const base::UniqueFd signals = redirect_signals();
    if (!signals || !adopt_orphans()) {
        say(std::string("cannot look after processes: ") + std::strerror(errno));
        return 1;
    }
    const auto is_stopping = [&] { return is_readable(signals.get()); };
    Dispatcher dispatcher(is_stopping);
    if (!dispatcher.open()) return 1;
    LogFollower log;
    while (!is_stopping()) {
        const bool watching = log.watching();
        const auto take = [&](const EventLine& event, bool begins) { return dispatcher.take(event, begins); };
        if (log.read(take) && log.was_read()) dispatcher.caught_up();
        // The service manager kills what this program may not.
        if (dispatcher.is_stuck()) return 1;
        if (!is_stopping()) wait_for_change(log, watching, signals.get());
    }
    return 0;
}

}  // namespace
}  // namespace zel::hooks

int main(int argc, char** argv) try {
    const std::string_view option = argc == 2 ? argv[1] : "";
    if (option == "--help") {
        std::fputs(zel::hooks::kUsage, stdout);
        return 0;
    }
    if (option == "--version") {
        std::puts("ZELhooks " ZEL_VERSION);
        return 0;
    }
    if (argc > 1 && option != "--foreground") {
        std::fputs(zel::hooks::kUsage, stderr);
        return 2;
    }
    return zel::hooks::run();
} catch (const std::exception& error) {
    std::fprintf(stderr, "ZELhooks: %s\n", error.what());
    return 1;
}
