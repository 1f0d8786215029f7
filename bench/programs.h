// SPDX-License-Identifier: GPL-3.0-or-later
// Programs that are started, and measured, beside ours.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace bench {

/// Starts a program, found as the shell would find it, with its output in a file and its errors nowhere. The
/// caller waits for it. Throws when it cannot be started.
pid_t start_program(std::vector<std::string> command, const std::string& output = "/dev/null");

/// Starts it and waits for its end: the exit status, or -1 when a signal ended it.
int run_program(std::vector<std::string> command, const std::string& output = "/dev/null");

}  // namespace bench
