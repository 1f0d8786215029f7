// SPDX-License-Identifier: GPL-3.0-or-later
// What the command line can do; each verb is a row of the table in verbs.cpp.
#pragma once

#include <span>
#include <string_view>
#include <vector>

#include "exit.h"

namespace zel::ctl {

struct Request;
struct Answer;

struct Verb {
    const char* name;
    const char* usage;  ///< What follows its name.
    const char* meaning;
    const char* options;  ///< Those that it knows besides --json, blank-separated.
    std::size_t least;    ///< Words that it takes.
    std::size_t most;
    bool open;  ///< To everybody; others are root's.
    Exit (*run)(const Request& request, Answer& answer);
};
std::span<const Verb> verbs();
const Verb* verb_of(std::string_view name);
/// The names of its options besides --json.
std::vector<std::string_view> options_of(const Verb& verb);

// Settings.
Exit run_list(const Request& request, Answer& answer);
Exit run_describe(const Request& request, Answer& answer);
Exit run_get(const Request& request, Answer& answer);
Exit run_set(const Request& request, Answer& answer);
Exit run_reset(const Request& request, Answer& answer);
Exit run_export(const Request& request, Answer& answer);
Exit run_check(const Request& request, Answer& answer);
Exit run_diff(const Request& request, Answer& answer);
Exit run_apply(const Request& request, Answer& answer);

// What is watched.
Exit run_status(const Request& request, Answer& answer);
Exit run_events(const Request& request, Answer& answer);
Exit run_metrics(const Request& request, Answer& answer);
Exit run_alert(const Request& request, Answer& answer);

// The controller.
Exit run_watchdog(const Request& request, Answer& answer);
Exit run_identify(const Request& request, Answer& answer);
Exit run_boot_mode(const Request& request, Answer& answer);

Exit run_completion(const Request& request, Answer& answer);

}  // namespace zel::ctl
