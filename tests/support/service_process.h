// SPDX-License-Identifier: GPL-3.0-or-later
// ZELntserver as a process of its own.
#pragma once

#include <fcntl.h>
#include <poll.h>
#include <time.h>

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
    bool ready() { return says("is ready\n"); }

    /// The exit status, or 128 + the signal that ended it.
    int finish(int signal = 0) {
        if (signal != 0) kill(id_, signal);
        return finish_process(std::exchange(id_, -1));
    }

    /// User and system time so far.
    [[nodiscard]] double cpu_seconds() const {
        clockid_t clock{};
        timespec used{};
        EXPECT_EQ(clock_getcpuclockid(id_, &clock) | clock_gettime(clock, &used), 0);
        return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) / 1e9;
    }

    [[nodiscard]] pid_t id() const { return id_; }
    [[nodiscard]] const std::string& said() const { return said_; }

  private:
    pid_t id_ = -1;
    base::UniqueFd output_;
    std::string said_;
};

}  // namespace zel::test
