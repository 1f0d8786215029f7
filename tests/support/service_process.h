// SPDX-License-Identifier: GPL-3.0-or-later
// ZELntserver as a process of its own.
#pragma once

#include <fcntl.h>
#include <poll.h>
#include <time.h>

#include <chrono>
#include <csignal>

#include "base/file_io.h"
#include "home.h"

namespace zel::test {

class ServiceProcess {
  public:
    ServiceProcess() {
        int ends[2];
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        output_ = base::UniqueFd(ends[0]);
        const base::UniqueFd input(ends[1]);
        id_ = start_process([&] {
            for (const int stream : {1, 2})
                dup2(input.get(), stream);
            return execl(SERVICE_PROGRAM, SERVICE_PROGRAM, "--foreground", nullptr);
        });
    }
    ~ServiceProcess() { EXPECT_TRUE(id_ < 0 || finish(SIGTERM) == 0); }

    /// Reads what the process writes until `text` is part of it. False when it ends before that, or says
    /// nothing for ten seconds.
    bool says(const std::string& text) {
        char buffer[512];
        while (said_.find(text) == std::string::npos) {
            pollfd output{output_.get(), POLLIN, 0};
            if (poll(&output, 1, 10'000) != 1) return false;
            const ssize_t got = read(output_.get(), buffer, sizeof buffer);
            if (got <= 0) return false;
            said_.append(buffer, static_cast<std::size_t>(got));
        }
        return true;
    }
    bool ready() {
        const bool is_ready = says("is ready\n");
        ready_since_ = std::chrono::steady_clock::now();
        start_cost_ = cpu_seconds();
        return is_ready;
    }

    /// The exit status, or 128 + the signal that ended it.
    int finish(int signal = 0) {
        if (signal != 0) kill(id_, signal);
        return finish_process(std::exchange(id_, -1));
    }

    /// Since it was ready it has left the CPU to others.
    [[nodiscard]] bool rests() const {
        const std::chrono::duration<double> ran = std::chrono::steady_clock::now() - ready_since_;
        return cpu_seconds() - start_cost_ < 0.1 + ran.count() / 10;
    }

    /// User and system time so far; 0 once it has ended.
    [[nodiscard]] double cpu_seconds() const {
        clockid_t clock{};
        timespec used{};
        if (clock_getcpuclockid(id_, &clock) == 0) clock_gettime(clock, &used);
        return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) / 1e9;
    }

    [[nodiscard]] pid_t id() const { return id_; }
    [[nodiscard]] const std::string& said() const { return said_; }

  private:
    pid_t id_ = -1;
    base::UniqueFd output_;
    std::string said_;
    std::chrono::steady_clock::time_point ready_since_;
    double start_cost_ = 0;
};

}  // namespace zel::test
