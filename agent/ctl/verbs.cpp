// SPDX-License-Identifier: GPL-3.0-or-later
#include "verbs.h"

#include <algorithm>
#include <array>

namespace zel::ctl {
namespace {

constexpr std::size_t kAny = 100'000;

constexpr std::array kVerbs{
    Verb{"list", "", "resources and objects", "", 0, 0, false, run_list},
    Verb{"describe", "[PATH]", "what may be set: values, unit, default, meaning", "schema", 0, 1, true,
         run_describe},
    Verb{"get", "[PATH...]", "values of settings", "show-secrets", 0, kAny, false, run_get},
    Verb{"set", "PATH=VALUE...", "set all of them, or none", "dry-run", 1, kAny, false, run_set},
    Verb{"reset", "PATH", "back to the default; storage.DEVICE: begin its counts anew", "dry-run", 1, 1,
         false, run_reset},
    Verb{"export", "[RESOURCE...]", "settings as a JSON document", "show-secrets", 0, kAny, false,
         run_export},
    Verb{"check", "FILE|-", "is the document valid here?", "", 1, 1, true, run_check},
    Verb{"diff", "FILE|-", "what apply would change", "", 1, 1, false, run_diff},
    Verb{"apply", "FILE|-", "set what the document says", "dry-run exit-code if-tag", 1, 1, false, run_apply},
    Verb{"status", "", "what is watched, its level and value", "watch", 0, 0, true, run_status},
    Verb{"events", "", "what was told", "since follow", 0, 0, false, run_events},
    Verb{"metrics", "", "the status as Prometheus reads it", "output", 0, 0, true, run_metrics},
    Verb{"alert", "test", "send a marked event through all ways of telling", "", 1, 1, false, run_alert},
    Verb{"watchdog", "status|disarm", "the watchdog timer", "", 1, 1, false, run_watchdog},
    Verb{"identify", "SECONDS|off", "light the chassis' locator", "", 1, 1, false, run_identify},
    Verb{"boot-mode", "get|on|off", "the maintenance boot mode", "", 1, 1, false, run_boot_mode},
    Verb{"completion", "bash", "a shell's completion of verbs and paths", "", 1, 1, true, run_completion},
};

}  // namespace

std::span<const Verb> verbs() {
    return kVerbs;
}

const Verb* verb_of(std::string_view name) {
    const auto* verb =
        std::ranges::find(kVerbs, name, [](const Verb& one) { return std::string_view(one.name); });
    return verb != kVerbs.end() ? verb : nullptr;
}

std::vector<std::string_view> options_of(const Verb& verb) {
    std::vector<std::string_view> options;
    for (std::string_view rest = verb.options; !rest.empty();) {
        const std::size_t end = std::min(rest.find(' '), rest.size());
        options.push_back(rest.substr(0, end));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return options;
}

}  // namespace zel::ctl
