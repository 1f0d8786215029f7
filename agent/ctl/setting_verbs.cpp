// SPDX-License-Identifier: GPL-3.0-or-later
// get, set, reset, export, check, diff, apply.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <unordered_set>

#include "answer.h"
#include "base/file_io.h"
#include "base/paths.h"
#include "client/reset_service.h"
#include "document.h"
#include "machine.h"
#include "plan.h"
#include "settings/raid_settings.h"
#include "store/key_file_lock.h"
#include "store/registry.h"
#include "verbs.h"

namespace zel::ctl {
namespace {

constexpr const char* kHidden = "(hidden)";

/// Splits what waits for a controller from what does not.
std::pair<Names, Names> split(const Names& names) {
    std::pair<Names, Names> parts;
    for (const std::string& name : names)
        (resource_of(name)->controller ? parts.first : parts.second).insert(name);
    return parts;
}

/// Nobody else writes these resources while it lives.
std::optional<store::HeldLocks> lock(const Names& names, Problems& problems) {
    std::vector<std::string> paths{store::registry::path()};
    for (const auto* file : {&settings::kStorageFile, &settings::kFilesystemFile, &settings::kRaidFile})
        if (names.contains(file->resource)) paths.push_back(file->path());
    auto locks = store::HeldLocks::take(std::move(paths));
    if (!locks)
        problems.push_back({"", base::settings_folder() + ": cannot be locked: " + std::strerror(errno)});
    return locks;
}

std::string told(const Setting& setting, const Scalar& value, bool secrets = false) {
    return setting.kind->secret && !secrets ? kHidden : shown(value_text(value));
}

void tell_changes(std::span<const Change> changes, Answer& answer) {
    std::vector<Row> rows;
    Json list = Json::array();
    for (const Change& change : changes) {
        const Setting& setting = *change.setting;
        const std::string path = text_of(setting.path);
        const auto side = [&](const Scalar& value) {
            std::string text = told(setting, value);
            return text.empty() ? "\"\"" : text;
        };
        const auto given = [&](const Scalar& value) {
            return setting.kind->secret ? Json(kHidden) : json_of(value);
        };
        rows.push_back({shown(path), side(change.from) + " -> " + side(change.to)});
        list.push_back({{"path", path}, {"from", given(change.from)}, {"to", given(change.to)}});
    }
    answer.text = columns(rows);
    answer.json["changes"] = std::move(list);
}

Json empty_answer() {
    return {{"schema", kSchema}, {"tag", nullptr}, {"changes", Json::array()}};
}

/// Settings as they shall be, from a document or from arguments.
struct Wanted {
    Names names;
    std::vector<Wish> wishes;
};

/// Compares what is wanted with what is, writes it where that is asked for, and says what changed.
class Task {
  public:
    Task(const Request& request, Answer& answer) : request_(request), answer_(answer) {}

    bool writes = false;
    bool defaults = false;
    Exit unknown = Exit::no_such_object;  ///< What a path is that no setting has.
    /// Turns arguments into wishes, once the settings are known.
    std::function<void(const Machine&, Wanted&, Problems&)> complete = [](auto&, auto&, auto&) {};

    Exit run(Wanted wanted) {
        answer_.json = empty_answer();
        const bool told_before = !answer_.problems.empty();  // of a document
        const bool write = writes && !request_.dry_run;
        const auto [controller, files] = split(wanted.names);
        Exit exit = machine_.read(controller, answer_.problems, defaults);
        if (exit != Exit::done) return exit;
        if (write && !(locks_ = lock(files, answer_.problems))) return Exit::failed;
        exit = machine_.read(files, answer_.problems, defaults);
        if (exit != Exit::done) return exit;
        const std::string tag = machine_.tag(wanted.names, machine_.values());
        answer_.json["tag"] = tag;
        if (request_.if_tag && *request_.if_tag != tag) {
            answer_.problems.push_back({"", "the settings have the tag " + tag});
            return Exit::tag_differs;
        }
        complete(machine_, wanted, answer_.problems);
        const Plan plan = make_plan(machine_, wanted.wishes, unknown, answer_.problems);
        if (!answer_.problems.empty())
            return told_before || plan.exit == Exit::done ? Exit::invalid : plan.exit;
        tell_changes(plan.changes, answer_);
        if (writes && plan.changes.empty()) answer_.text = "nothing to change\n";
        if (!write || plan.changes.empty()) return Exit::done;
        exit = machine_.write(plan.wanted, locks_, answer_.problems);
        if (exit == Exit::done || exit == Exit::no_service)
            answer_.json["tag"] = machine_.tag(wanted.names, plan.wanted);
        return exit;
    }

    [[nodiscard]] bool differs() const { return !answer_.json["changes"].empty(); }

  private:
    const Request& request_;
    Answer& answer_;
    Machine machine_;
    std::optional<store::HeldLocks> locks_;
};

/// A file's text, or that of standard input.
std::optional<std::string> read_document(const std::string& name, Problems& problems) {
    const base::UniqueFd file(name == "-" ? ::dup(STDIN_FILENO) : ::open(name.c_str(), O_RDONLY | O_CLOEXEC));
    std::string text;
    // One byte more, so that what is too large is seen to be.
    if (file && base::read_at_most(file.get(), kLargestDocument + 1, text)) return text;
    problems.push_back({"", (name == "-" ? "standard input" : name) + ": " + std::strerror(errno)});
    return std::nullopt;
}

/// What a document wants; nothing when it is none.
std::optional<Wanted> wanted_by(const std::string& name, Problems& problems, Exit& exit) {
    exit = Exit::failed;
    const auto text = read_document(name, problems);
    if (!text) return std::nullopt;
    exit = Exit::invalid;
    Document document = parse_document(*text, problems);
    if (!document.whole) return std::nullopt;
    const std::vector<std::string> resources(document.resources.begin(), document.resources.end());
    Wanted wanted{.names = {}, .wishes = std::move(document.wishes)};
    add_resources(resources, wanted.names, problems);
    // What is below an unknown resource needs no telling.
    std::erase_if(wanted.wishes,
                  [&](const Wish& wish) { return !wanted.names.contains(wish.path.resource); });
    return wanted;
}

Exit compare(const Request& request, Answer& answer, bool writes, bool& differs) {
    answer.json = empty_answer();
    Exit exit = Exit::done;
    auto wanted = wanted_by(request.words.front(), answer.problems, exit);
    if (!wanted) return exit;
    Task task(request, answer);
    task.writes = writes;
    task.unknown = Exit::invalid;
    task.defaults = !may_change();
    exit = task.run(*std::move(wanted));
    differs = task.differs();
    return exit;
}

/// PATH=VALUE; nothing, and told, for what is none.
std::optional<std::pair<std::string, std::string>> parse_assignment(const std::string& word,
                                                                    Problems& problems) {
    // A name in brackets may hold the sign.
    const std::size_t from = word.find('[') < word.find('=') ? word.find(']') : 0;
    const std::size_t sign = from == std::string::npos ? from : word.find('=', from);
    if (sign != std::string::npos && sign > 0) return std::pair(word.substr(0, sign), word.substr(sign + 1));
    problems.push_back({word, "is not PATH=VALUE"});
    return std::nullopt;
}

/// One line of standard input: what must not be seen in a list of processes.
std::optional<std::string> read_secret(Problems& problems) {
    std::string text;
    if (!base::read_at_most(STDIN_FILENO, 4096, text)) {
        problems.push_back({"", std::string("standard input: ") + std::strerror(errno)});
        return std::nullopt;
    }
    return text.substr(0, text.find('\n'));
}

/// The settings that paths name; all without a path.
std::vector<const Setting*> chosen(const Machine& machine, std::span<const std::string> paths,
                                   Problems& problems, Exit& exit) {
    std::vector<const Setting*> all;
    std::unordered_set<const Setting*> seen;
    if (paths.empty()) {
        all.reserve(machine.settings().size());
        for (const Setting& setting : machine.settings())
            all.push_back(&setting);
    }
    for (const std::string& text : paths) {
        const auto found = machine.below(*parse_path(text));
        if (found.empty() && exit == Exit::done) exit = tell_unknown(machine, text, problems);
        for (const Setting* setting : found)
            if (seen.insert(setting).second) all.push_back(setting);
    }
    return all;
}

/// Reads what the words of a request name, or everything.
Exit read_named(const Request& request, Machine& machine, Names& names, Problems& problems) {
    if (request.words.empty()) {
        names = all_resources();
    } else if (const Exit exit = add_resources(request.words, names, problems); exit != Exit::done) {
        return exit;
    }
    return machine.read(names, problems);
}

}  // namespace

Exit run_get(const Request& request, Answer& answer) {
    answer.json = {{"schema", kSchema}, {"settings", Json::object()}};
    Machine machine;
    Names names;
    Exit exit = read_named(request, machine, names, answer.problems);
    if (exit != Exit::done && exit != Exit::no_controller) return exit;
    const auto settings = chosen(machine, request.words, answer.problems, exit);
    std::vector<Row> rows;
    rows.reserve(settings.size());
    for (const Setting* setting : settings)
        rows.push_back({shown(text_of(setting->path)),
                        told(*setting, setting->get(machine.values()), request.show_secrets)});
    answer.text = columns(rows);
    answer.json["settings"] = nested(settings, machine.values(), request.show_secrets);
    return exit;
}

Exit run_export(const Request& request, Answer& answer) {
    answer.json = {{"schema", kSchema}, {"tag", nullptr}, {"settings", Json::object()}};
    Machine machine;
    Names names;
    Exit exit = read_named(request, machine, names, answer.problems);
    if (exit != Exit::done) return exit;
    const auto settings = chosen(machine, request.words, answer.problems, exit);
    answer.json["tag"] = machine.tag(names, machine.values());
    answer.json["settings"] = nested(settings, machine.values(), request.show_secrets);
    if (exit == Exit::done) answer.text = document_text(answer.json);
    return exit;
}

Exit run_set(const Request& request, Answer& answer) {
    answer.json = empty_answer();
    std::vector<std::pair<std::string, std::string>> words;
    std::vector<std::string> paths;
    for (const std::string& word : request.words) {
        auto assignment = parse_assignment(word, answer.problems);
        if (!assignment) return Exit::usage;
        if (assignment->first == settings::kCommunity.words) {
            if (assignment->second != "-") {
                answer.problems.push_back(
                    {assignment->first, "is read from standard input: " + assignment->first + "=-"});
                return Exit::usage;
            }
            auto secret = read_secret(answer.problems);
            if (!secret) return Exit::failed;
            assignment->second = *std::move(secret);
        }
        paths.push_back(assignment->first);
        words.push_back(*std::move(assignment));
    }
    Wanted wanted;
    if (const Exit exit = add_resources(paths, wanted.names, answer.problems); exit != Exit::done)
        return exit;
    Task task(request, answer);
    task.writes = true;
    task.complete = [&](const Machine& machine, Wanted& all, Problems&) {
        all.wishes.reserve(words.size());
        for (const auto& [path, text] : words) {
            const Path parsed = *parse_path(path);
            const Setting* const setting = machine.find(parsed);
            Scalar value = setting != nullptr ? parse_value(*setting->kind, text) : Scalar();
            all.wishes.push_back({parsed, is_nothing(value) ? Scalar(text) : std::move(value)});
        }
    };
    return task.run(std::move(wanted));
}

Exit run_reset(const Request& request, Answer& answer) {
    answer.json = empty_answer();
    const std::string& word = request.words.front();
    Wanted wanted;
    if (const Exit exit = add_resources(request.words, wanted.names, answer.problems); exit != Exit::done)
        return exit;
    Path path = *parse_path(word);
    // "storage.sda" is the device as well, whose counts begin anew.
    if (path.resource == "storage" && path.object.empty() && path.rest.find('.') == std::string::npos &&
        path.rest != settings::kInterval.words)
        std::swap(path.object, path.rest);
    if (path.resource == "storage" && !path.object.empty() && path.rest.empty()) {
        Machine machine;
        if (const Exit exit = machine.read(wanted.names, answer.problems); exit != Exit::done) return exit;
        if (machine.below(path).empty()) return tell_unknown(machine, word, answer.problems);
        if (client::reset_service("storage " + path.object)) return Exit::done;
        answer.problems.push_back({word, "the service was not there to begin its counts anew"});
        return Exit::no_service;
    }
    bool unknown = false;
    Task task(request, answer);
    task.writes = true;
    task.complete = [&](const Machine& machine, Wanted& all, Problems& problems) {
        const auto settings = machine.below(path);
        for (const Setting* setting : settings)
            if (!is_nothing(setting->fallback) && !setting->kind->read_only)
                all.wishes.push_back({setting->path, setting->fallback});
        unknown = settings.empty();
        if (unknown) tell_unknown(machine, word, problems);
        if (!unknown && all.wishes.empty()) problems.push_back({word, "has no default"});
    };
    const Exit exit = task.run(std::move(wanted));
    return unknown && exit == Exit::invalid ? Exit::no_such_object : exit;
}

Exit run_check(const Request& request, Answer& answer) {
    bool differs = false;
    const Exit exit = compare(request, answer, false, differs);
    answer.text.clear();
    answer.json = {{"schema", kSchema}, {"valid", exit == Exit::done}};
    return exit;
}

Exit run_diff(const Request& request, Answer& answer) {
    bool differs = false;
    const Exit exit = compare(request, answer, false, differs);
    return exit == Exit::done && differs ? Exit::differs : exit;
}

Exit run_apply(const Request& request, Answer& answer) {
    bool differs = false;
    const Exit exit = compare(request, answer, true, differs);
    answer.json["applied"] = (exit == Exit::done || exit == Exit::no_service) && !request.dry_run;
    return exit == Exit::done && differs && request.exit_code ? Exit::differs : exit;
}

}  // namespace zel::ctl
