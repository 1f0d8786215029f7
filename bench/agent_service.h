// SPDX-License-Identifier: GPL-3.0-or-later
// A private agent directory with its service running, for measures of the real thing.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>

#include "vt_app.h"

namespace bench {

class AgentService {
  public:
    /// Makes the directory, sets ZelDir for this process, starts the service and waits for its socket.
    AgentService();
    ~AgentService();
    AgentService(const AgentService&) = delete;
    AgentService& operator=(const AgentService&) = delete;

    [[nodiscard]] const std::filesystem::path& folder() const { return folder_; }
    [[nodiscard]] pid_t service() const { return service_; }
    void stop_service();
    void start_service();
    void write_file(const char* name, const std::string& content) const;

    /// How the tool is started on this directory.
    [[nodiscard]] zeltest::VtOptions tool() const;

  private:
    std::filesystem::path folder_;
    pid_t service_ = -1;
};

/// Resident memory of a process in kB.
double resident_kb(pid_t process);

}  // namespace bench
