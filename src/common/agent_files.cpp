// SPDX-License-Identifier: GPL-3.0-or-later
#include <agntconf/agent_files.h>
#include <zel/access_monitor.h>

namespace zel {

std::string shared_sensor_library() {
    char root[256] = {};
    GetZelRootPath(root, sizeof root);
    root[sizeof root - 1] = '\0';
    if (root[0] == '\0') return {};  // with nothing in front the path would be one of the system's
    return std::string(root) + "/lib/dissensor.dll";
}

}  // namespace zel
