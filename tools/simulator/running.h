// SPDX-License-Identifier: GPL-3.0-or-later
// A simulated controller that runs as long as an object lives, and what it was asked meanwhile.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "simulation.h"

namespace zel::simulator {

/// A free UDP port below those that the kernel gives away, another one at each call.
int new_port();

class Running {
  public:
    /// Makes the simulation's folder anew, starts it and waits until it answers, at most ten seconds.
    explicit Running(Simulation simulation);
    /// Kills it.
    ~Running();
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

    [[nodiscard]] const Simulation& simulation() const { return simulation_; }
    /// What it wrote, when it does not answer; else empty.
    [[nodiscard]] const std::string& failure() const { return failure_; }

    /// What it does from now on, as the module reads it; a stopped one runs again.
    void rules(const std::string& text) const;

    /// The requests since the last call, as the module writes them; without those that keep a session.
    std::vector<std::string> requests();
    /// The same with those.
    std::vector<std::string> all_requests();

  private:
    [[nodiscard]] bool answers() const;

    Simulation simulation_;
    pid_t process_ = -1;
    std::string failure_;
    std::size_t seen_ = 0;
};

}  // namespace zel::simulator
