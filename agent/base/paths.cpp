// SPDX-License-Identifier: GPL-3.0-or-later
#include "paths.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>

#include "trusted_folder.h"

namespace zel::base {
namespace {

struct Locations {
    bool is_private = false;
    std::string agent = ZEL_AGENT_DIR;
    std::string config = "/etc/zelagent/agent.conf";
    std::string settings = "/var/lib/zelagent";
    std::string service = "/var/lib/zelagent/service";
    std::string run = "/run/zelagent";
    std::string everybody = "/run/zelagent-public";
    std::string watchdog = "/run/zelagent-watchdog";
    std::string watchdog_kept = "/var/lib/zelagent/watchdog";
};

Locations locate() {
    const auto agent = agent_dir_of_environment();
    if (!agent) return {};
    const std::string state = *agent + "/state";
    return {true, *agent, *agent + "/agent.conf", state, state, state, state, state, state};
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

}  // namespace

bool is_private_agent() {
    return locations().is_private;
}

const std::string& agent_dir() {
    return locations().agent;
}

const std::string& config_file() {
    return locations().config;
}

std::string own_root(const std::string& path) {
    const Locations& all = locations();
    for (const std::string& root : {all.settings, all.run, all.everybody, all.watchdog}) {
        if (path.starts_with(root) && (path.size() == root.size() || path[root.size()] == '/')) return root;
    }
    return {};
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

const std::string& watchdog_folder() {
    return locations().watchdog;
}

const std::string& watchdog_kept_folder() {
    return locations().watchdog_kept;
}

bool make_private_dir(const std::string& path) {
    if (is_folder(path)) return true;
    for (std::size_t slash = path.find('/', 1); slash != std::string::npos;
         slash = path.find('/', slash + 1)) {
        const std::string above = path.substr(0, slash);
        mkdir(above.c_str(), own_root(above).empty() ? 0755 : 0700);
    }
    // Somebody else may have made it in between.
    return mkdir(path.c_str(), 0700) == 0 || (errno == EEXIST && is_folder(path));
}

}  // namespace zel::base
