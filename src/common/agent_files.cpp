// SPDX-License-Identifier: GPL-3.0-or-later
#include "agent_files.h"

#include <zel/access_monitor.h>

namespace zel {

std::string shared_sensor_library() {
    char root[256] = {};
    GetZelRootPath(root, sizeof root);
    root[sizeof root - 1] = '\0';
    return std::string(root) + "/lib/dissensor.dll";
}

}  // namespace zel
