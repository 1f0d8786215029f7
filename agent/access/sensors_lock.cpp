// SPDX-License-Identifier: GPL-3.0-or-later
#include "sensors_lock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <cstring>

#include "store/paths.h"
#include "zel/tracelog.h"

namespace zel::access {

SensorsLock::SensorsLock() {
    constexpr std::chrono::seconds kLongest{5};
    const std::string path = store::state_dir() + "/sensors.lock";
    if (store::make_private_dir(store::state_dir())) {
        file_ = store::open_file(path, O_RDWR | O_CREAT | O_NOFOLLOW, 0600);
        if (file_ && store::lock_file(file_.get(), LOCK_EX, kLongest)) return;
    }
    TraceLog(TRACE_LEVEL_RESOURCE, "sensors", __func__, __LINE__, "%s: %s; going on without.", path.c_str(),
             std::strerror(errno));
}

}  // namespace zel::access
