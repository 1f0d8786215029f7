// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

namespace zel::hooks {

/// Says one line, without line feed, on standard error, which the service manager keeps. What could steer a terminal
/// is escaped.
void say(const std::string& line);

}  // namespace zel::hooks
