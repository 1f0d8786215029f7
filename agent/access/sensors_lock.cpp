// SPDX-License-Identifier: GPL-3.0-or-later
#include "sensors_lock.h"

#include <cerrno>
#include <cstring>

#include "store/own_folder.h"
#include "store/paths.h"
#include "zel/tracelog.h"

namespace zel::access {

SensorsLock::SensorsLock() {
    constexpr std::chrono::seconds kLongest{5};
    const std::string path = store::state_dir() + "/sensors.lock";
    file_ = store::take_own_lock(path, kLongest);
    if (file_) return;
    TraceLog(TRACE_LEVEL_RESOURCE, "sensors", __func__, __LINE__, "%s: %s; going on without.", path.c_str(),
             std::strerror(errno));
}

}  // namespace zel::access
