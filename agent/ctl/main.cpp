// SPDX-License-Identifier: GPL-3.0-or-later
// zelctl, the agent's command line.
#include <fcntl.h>
#include <getopt.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <string_view>

#include "answer.h"
#include "base/paths.h"
#include "document.h"
#include "resource.h"
#include "verbs.h"
#include "zel/tracelog.h"

namespace zel::ctl {
namespace {

struct Option {
    const char* name;
    bool Request::*flag;
    std::optional<std::string> Request::*argument;
    const char* placeholder;
    const char* meaning;
};
constexpr std::array kOptions{
    Option{"json", &Request::json, nullptr, "", "say it in JSON, errors included"},
    Option{"dry-run", &Request::dry_run, nullptr, "", "say what would change, and change nothing"},
    Option{"exit-code", &Request::exit_code, nullptr, "", "end with 1 when something changed, or would"},
    Option{"if-tag", nullptr, &Request::if_tag, "TAG",
           "only if the settings still have the tag of an export"},
    Option{"schema", &Request::schema, nullptr, "", "print the JSON Schema of documents and answers"},
    Option{"show-secrets", &Request::show_secrets, nullptr, "", "give out the community name, too"},
    Option{"since", nullptr, &Request::since, "TIME",
           "events from then on: 2026-01-31T12:00:00Z, 90m, 12h, 7d"},
    Option{"follow", &Request::follow, nullptr, "", "wait for more"},
    Option{"output", nullptr, &Request::output, "FILE", "replace this file, in place of printing"},
    Option{"watch", &Request::watch, nullptr, "", "again each two seconds"},
};
constexpr int kHelp = 1000;
constexpr int kVersion = 1001;

bool knows(const Verb& verb, const Option& option) {
    const auto options = options_of(verb);
    return option.flag == &Request::json || std::ranges::find(options, option.name) != options.end();
}

std::string help() {
    std::vector<Row> rows;
    for (const Verb& verb : verbs())
        rows.push_back({"  " + std::string(verb.name) + ' ' + verb.usage, verb.meaning});
    return "usage: zelctl VERB [ARGUMENT...] [--json]\n\n" + columns(rows) +
           "\nzelctl VERB --help tells a verb's options, zelctl(8) the rest.\n";
}

std::string help_of(const Verb& verb) {
    std::vector<Row> rows;
    for (const Option& option : kOptions) {
        if (!knows(verb, option)) continue;
        const std::string placeholder =
            option.argument != nullptr ? '=' + std::string(option.placeholder) : "";
        rows.push_back({"  --" + std::string(option.name) + placeholder, option.meaning});
    }
    return "usage: zelctl " + std::string(verb.name) + ' ' + verb.usage + "\n" + verb.meaning + "\n\n" +
           columns(rows);
}

struct CommandLine {
    Request request{};
    std::string verb{};
    std::string fault{};
    bool help = false;
    bool version = false;
    std::vector<const Option*> given{};
};

CommandLine parse(int argc, char** argv) {
    std::vector<option> known{{"help", no_argument, nullptr, kHelp},
                              {"version", no_argument, nullptr, kVersion}};
    for (int i = 0; const Option& one : kOptions)
        known.push_back({one.name, one.argument != nullptr ? required_argument : no_argument, nullptr, i++});
    known.push_back({});
    CommandLine line;
    opterr = 0;
    for (;;) {
        const int found = ::getopt_long(argc, argv, ":h", known.data(), nullptr);
        if (found == -1) break;
        if (found == '?' || found == ':') {
            if (line.fault.empty())
                line.fault =
                    std::string(argv[optind - 1]) + (found == ':' ? " needs a value" : " is no option");
        } else if (found == kHelp || found == 'h') {
            line.help = true;
        } else if (found == kVersion) {
            line.version = true;
        } else {
            const Option& one = kOptions.at(static_cast<std::size_t>(found));
            if (one.flag != nullptr) line.request.*one.flag = true;
            if (one.argument != nullptr) line.request.*one.argument = optarg;
            line.given.push_back(&one);
        }
    }
    if (optind < argc) line.verb = argv[optind++];
    while (optind < argc)
        line.request.words.emplace_back(argv[optind++]);
    return line;
}

/// What is wrong with the arguments of a verb; empty when nothing is.
std::string fault_of(const Verb& verb, const CommandLine& line) {
    if (!line.fault.empty()) return line.fault;
    for (const Option* option : line.given)
        if (!knows(verb, *option)) return "--" + std::string(option->name) + " is no option of " + verb.name;
    const std::size_t words = line.request.words.size();
    if (words < verb.least) return std::string(verb.name) + " needs " + verb.usage;
    if (words > verb.most) return shown(line.request.words.at(verb.most)) + " is one argument too many";
    return {};
}

Exit refuse(const CommandLine& line, Exit exit, std::string why) {
    Answer answer;
    answer.json = {{"schema", kSchema}};
    answer.problems.push_back({"", std::move(why)});
    return give(line.request, std::move(answer), exit);
}

/// Fills up descriptors that are closed: the next file opened would be taken for what they stand for. They take nothing.
void keep_standard_descriptors() {
    for (int file = 0; file <= STDERR_FILENO;)
        file = ::fcntl(file, F_GETFD) < 0 ? ::open("/dev/null", O_RDONLY) : file + 1;
}

/// Whether there is an output: what nobody can be told is not begun.
bool has_output() {
    const int flags = ::fcntl(STDOUT_FILENO, F_GETFL);
    return flags >= 0 && (flags & O_ACCMODE) != O_RDONLY;
}

Exit run(int argc, char** argv) {
    const CommandLine line = parse(argc, argv);
    const Verb* const verb = verb_of(line.verb);
    if (line.fault.empty() && (line.help || line.version)) {
        const std::string text = line.version      ? "zelctl " ZEL_VERSION "\n"
                                 : verb != nullptr ? help_of(*verb)
                                                   : help();
        return give({}, {.text = text}, Exit::done);
    }
    if (verb == nullptr) {
        const std::string why = !line.fault.empty() ? line.fault
                                : line.verb.empty() ? "no verb"
                                                    : shown(line.verb) + " is no verb";
        return refuse(line, Exit::usage, why + "; zelctl --help tells them");
    }
    if (std::string why = fault_of(*verb, line); !why.empty())
        return refuse(line, Exit::usage, why + "; zelctl " + verb->name + " --help tells more");
    if (!verb->open && !may_change())
        return refuse(line, Exit::not_permitted,
                      std::string(verb->name) + " is root's: run it as root or with sudo");
    if (!has_output()) {
        std::fprintf(stderr, "zelctl: standard output: %s\n", std::strerror(EBADF));
        return Exit::failed;
    }
    TraceLogInit(0, "zelctl", 0, 5, 0);
    Answer answer;
    const Exit exit = verb->run(line.request, answer);
    return give(line.request, std::move(answer), exit);
}

}  // namespace
}  // namespace zel::ctl

int main(int argc, char** argv) try {
    std::setlocale(LC_CTYPE, "");
    std::signal(SIGPIPE, SIG_IGN);
    zel::ctl::keep_standard_descriptors();
    return static_cast<int>(zel::ctl::run(argc, argv));
} catch (const std::exception& error) {
    std::fprintf(stderr, "zelctl: %s\n", error.what());
    return static_cast<int>(zel::ctl::Exit::failed);
}
