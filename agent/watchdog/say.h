// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

namespace zel::watchdog {

/// Says one line, without line feed, on standard error, which the service manager keeps. A line that nobody takes is
/// dropped: a journal that hangs must not hold up who feeds the timer.
void say(const std::string& line);

}  // namespace zel::watchdog
