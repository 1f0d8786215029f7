// SPDX-License-Identifier: GPL-3.0-or-later
#include "log.h"

#include <unistd.h>

#include "base/file_io.h"
#include "chars/plain.h"
#include "zel/trace.h"

namespace zel::service {

constexpr const char* kModule = "service";

void log(const std::string& line) {
    const std::string shown = chars::escaped(line);
    ZEL_TRACE(TRACE_LEVEL_INFO, "%s", shown.c_str());
    base::write_all(STDERR_FILENO, shown + '\n');
}

}  // namespace zel::service
