// SPDX-License-Identifier: GPL-3.0-or-later
#include <unistd.h>

#include "answer.h"
#include "base/paths.h"
#include "document.h"
#include "machine.h"
#include "plan.h"
#include "verbs.h"

namespace zel::ctl {
namespace {

/// Asks the program itself: the paths are those of the machine that it runs on.
constexpr const char* kScript = R"sh(# shellcheck shell=bash
_zelctl() {
    local word verb choices
    COMPREPLY=()
    word=${COMP_LINE:0:COMP_POINT}
    word=${word##* }
    word=${word//\\/}
    verb=${COMP_WORDS[1]}
    if [ "$COMP_CWORD" -eq 1 ]; then
        choices=$("${COMP_WORDS[0]}" completion verbs 2>/dev/null)
    elif [[ $word == -* ]]; then
        choices=$("${COMP_WORDS[0]}" completion "$verb" 2>/dev/null)
    else
        case $verb in
            get | set | reset | describe) choices=$("${COMP_WORDS[0]}" completion paths 2>/dev/null) ;;
            export) choices=$("${COMP_WORDS[0]}" completion resources 2>/dev/null) ;;
            check | diff | apply)
                compopt -o filenames
                mapfile -t COMPREPLY < <(compgen -f -- "$word")
                return
                ;;
            alert) choices="test" ;;
            watchdog) choices=$'status\ndisarm' ;;
            identify) choices=off ;;
            boot-mode) choices=$'get\non\noff' ;;
            completion) choices=bash ;;
        esac
    fi
    local choice
    while IFS= read -r choice; do
        if [[ -n $choice && $choice == "$word"* ]]; then COMPREPLY+=("$(printf %q "$choice")"); fi
    done <<<"$choices"
    if [ "$verb" = set ] && [ "${#COMPREPLY[@]}" -eq 1 ]; then
        COMPREPLY=("${COMPREPLY[0]}=")
        compopt -o nospace
    fi
}
complete -F _zelctl zelctl
)sh";

std::string lines(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words)
        text.append(word).append("\n");
    return text;
}

/// No controller is asked while somebody types: its sensors are completed where they are known by their number only.
std::vector<std::string> paths() {
    Names names;
    for (const Resource& resource : resources())
        if (!resource.controller) names.insert(resource.name);
    Machine machine;
    Problems none;
    machine.read(names, none, !may_change());
    std::vector<std::string> all;
    for (const Setting& setting : machine.settings())
        all.push_back(text_of(setting.path));
    return all;
}

std::vector<std::string> dashed_options(const Verb& verb) {
    std::vector<std::string> all{"--json", "--help"};
    for (const std::string_view option : options_of(verb))
        all.push_back("--" + std::string(option));
    return all;
}

}  // namespace

Exit run_completion(const Request& request, Answer& answer) {
    const std::string& what = request.words.front();
    std::vector<std::string> words;
    if (what == "bash") {
        answer.text = kScript;
    } else if (what == "verbs") {
        for (const Verb& verb : verbs())
            words.emplace_back(verb.name);
    } else if (what == "paths") {
        words = paths();
    } else if (what == "resources") {
        for (const Resource& resource : resources())
            words.emplace_back(resource.name);
    } else if (const Verb* const verb = verb_of(what)) {
        words = dashed_options(*verb);
    } else {
        answer.problems.push_back({"", "completion needs bash"});
        return Exit::usage;
    }
    answer.text += lines(words);
    answer.json = {{"schema", kSchema}, {"completion", answer.text}};
    return Exit::done;
}

}  // namespace zel::ctl
