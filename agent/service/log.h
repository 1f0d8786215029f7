// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

namespace zel::service {

/// Logs one line, without line feed: in the trace log (level 3) and on standard error, where the service
/// manager keeps it. What could steer a terminal is escaped. From any thread.
void log(const std::string& line);

}  // namespace zel::service
