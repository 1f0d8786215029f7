// SPDX-License-Identifier: GPL-3.0-or-later
#include "paths.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>

namespace zel::store {
namespace {

struct Locations {
    std::string agent = ZEL_AGENT_DIR;
    std::string config = "/etc/zelagent/agent.conf";
    std::string settings = "/var/lib/zelagent";
    std::string service = "/var/lib/zelagent/service";
    std::string run = "/run/zelagent";
    std::string everybody = "/run/zelagent-public";
};

Locations locate() {
    const char* folder = secure_getenv("ZelDir");
    if (folder == nullptr || *folder == '\0') return {};
    std::string agent = folder;
    while (agent.size() > 1 && agent.back() == '/')
        agent.pop_back();
    const std::string state = agent + "/state";
    return {agent, agent + "/agent.conf", state, state, state, state};
}

const Locations& locations() {
    // Never destroyed: threads may still trace while the process ends.
    static const Locations& found = *new Locations(locate());
    return found;
}

bool is_folder(const std::string& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

/// The agent's own folders and what lies in them; what stands above is the system's.
bool is_private(const std::string& path) {
    const auto lies_in = [&](const std::string& folder) {
        return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
    };
    return lies_in(locations().settings) || lies_in(locations().run);
}

}  // namespace

const std::string& agent_dir() {
    return locations().agent;
}

const std::string& config_file() {
    return locations().config;
}

const std::string& settings_folder() {
    return locations().settings;
}

const std::string& service_folder() {
    return locations().service;
}

const std::string& own_state_folder() {
    return geteuid() == 0 ? locations().settings : locations().service;
}

const std::string& run_folder() {
    return locations().run;
}

const std::string& public_folder() {
    return locations().everybody;
}

bool make_private_dir(const std::string& path) {
    if (is_folder(path)) return true;
    for (std::size_t slash = path.find('/', 1); slash != std::string::npos;
         slash = path.find('/', slash + 1)) {
        const std::string above = path.substr(0, slash);
        mkdir(above.c_str(), is_private(above) ? 0700 : 0755);
    }
    // Somebody else may have made it in between.
    return mkdir(path.c_str(), 0700) == 0 || (errno == EEXIST && is_folder(path));
}

}  // namespace zel::store
