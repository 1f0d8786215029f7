// SPDX-License-Identifier: GPL-3.0-or-later
#include "agent_service.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

#include "programs.h"

namespace bench {

namespace fs = std::filesystem;

AgentService::AgentService() {
    std::string name = (fs::temp_directory_path() / "zelbench-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("mkdtemp");
    folder_ = name;
    // Copies: links would make programs of root's distrust the folder in somebody else's checkout.
    umask(022);
    for (const char* part : {"data", "lib"}) {
        fs::copy(fs::path(BUILD_DIR) / part, folder_ / part, fs::copy_options::recursive);
        fs::permissions(folder_ / part, fs::perms(0755));
    }
    setenv("ZelDir", folder_.c_str(), 1);
    write_file("agent.conf", "[trace]\nlevel=information\n");  // as an installed agent has it
    start_service();
}

void AgentService::start_service() {
    service_ = start_program({SERVICE_PROGRAM, "--foreground"});
    while (!fs::exists(folder_ / "state" / "zelntserver.sock"))
        usleep(1000);
}

void AgentService::stop_service() {
    if (service_ <= 0) return;
    kill(service_, SIGTERM);
    waitpid(service_, nullptr, 0);
    service_ = -1;
}

AgentService::~AgentService() {
    stop_service();
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
}

void AgentService::write_file(const char* name, const std::string& content) const {
    std::ofstream(folder_ / name) << content;
}

zeltest::VtOptions AgentService::tool() const {
    zeltest::VtOptions options;
    options.command = {TOOL_PROGRAM};
    options.environment = {{"ZelDir", folder_.string()}};
    return options;
}

double resident_kb(pid_t process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("VmRSS:")) return std::atof(line.c_str() + 6);
    return 0;
}

}  // namespace bench
