// SPDX-License-Identifier: GPL-3.0-or-later
// A simulated controller that runs as long as the object lives, agent.conf pointing at it.
#pragma once

#include "home.h"
#include "running.h"

namespace zel::test {

using Records = std::vector<std::vector<std::uint8_t>>;

/// Writes agent.conf: `section` and `more` lines.
inline void write_config(const std::string& section, const std::string& more = "") {
    write_text(base::config_file(), section + more);
}

class RunningSimulator : public simulator::Running {
  public:
    /// With the port of an earlier one it is that controller, changed.
    explicit RunningSimulator(std::vector<simulator::Sensor> sensors, Records more_records = {}, int port = 0)
        : Running({.folder = fs::path(base::agent_dir()).parent_path() / "simulator",
                   .port = port != 0 ? port : simulator::new_port(),
                   .module = ZELSIM_MODULE,
                   .sensors = std::move(sensors),
                   .more_records = std::move(more_records)}) {
        EXPECT_EQ(failure(), "");
        write_config(section());
    }
    [[nodiscard]] int port() const { return simulation().port; }
    [[nodiscard]] std::string section() const { return simulator::controller_section(simulation()); }
};

}  // namespace zel::test
