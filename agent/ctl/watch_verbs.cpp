// SPDX-License-Identifier: GPL-3.0-or-later
// status, events, metrics, alert: what the service has found and told.
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <optional>

#include "answer.h"
#include "base/file_io.h"
#include "base/own_folder.h"
#include "base/paths.h"
#include "client/service_client.h"
#include "document.h"
#include "hooks/log_follower.h"
#include "resource.h"
#include "tell/event.h"
#include "tell/status.h"
#include "verbs.h"
#include "watch/reading.h"

namespace zel::ctl {
namespace {

using base::number_at;
using base::text_at;
using Clock = std::chrono::system_clock;

constexpr std::size_t kLargestStatus = std::size_t{16} << 20U;

/// What the service wrote last; nothing, and told, when it has written nothing that can be read.
std::optional<Json> read_status(Problems& problems) {
    const std::string path = base::public_folder() + '/' + tell::kStatusName;
    const auto file = base::open_regular(path);
    std::string text;
    if (!file || !base::read_at_most(file.get(), kLargestStatus, text)) {
        problems.push_back({"", path + ": " + std::strerror(errno) + "; has the service been started?"});
        return std::nullopt;
    }
    Json status = base::parse_json(text);
    const auto objects = status.is_object() ? status.find("objects") : status.end();
    if (!status.is_object() || objects == status.end() || !objects->is_array()) {
        problems.push_back({"", path + ": is no status"});
        return std::nullopt;
    }
    std::erase_if(objects->get_ref<Json::array_t&>(), [](const Json& one) { return !one.is_object(); });
    return status;
}

/// A member that is an object; an empty one where there is none.
Json object_at(const Json& json, const char* name) {
    const auto found = json.find(name);
    return found != json.end() && found->is_object() ? *found : Json::object();
}

bool flag_at(const Json& json, const char* name) {
    const auto found = json.find(name);
    return found != json.end() && found->is_boolean() && found->get<bool>();
}

/// The machine's own time, to the second.
std::string local_time(const std::string& text) {
    const auto time = tell::time_of(text);
    if (!time) return {};
    const std::time_t seconds = Clock::to_time_t(*time);
    tm parts{};
    std::array<char, 32> shown{};
    if (::localtime_r(&seconds, &parts) == nullptr) return {};
    return {shown.data(), std::strftime(shown.data(), shown.size(), "%Y-%m-%d %H:%M:%S", &parts)};
}

std::string amount(const Json& object, const char* name) {
    const auto number = number_at(object, name);
    if (!number || text_at(object, "unit") == watch::kStateUnit) return "-";
    const std::string sign = shown(watch::unit_sign(text_at(object, "unit")));
    return std::to_string(*number) + (sign.empty() ? "" : ' ' + sign);
}

std::string name_of(const Json& object) {
    const std::string kind = text_at(object, "kind");
    return shown(text_at(object, "object") + (kind.empty() ? "" : ' ' + kind));
}

bool is_coloured() {
    const char* const none = std::getenv("NO_COLOR");
    return ::isatty(STDOUT_FILENO) == 1 && (none == nullptr || *none == '\0');
}

/// A level's colour: red, yellow, green; none for what is not known.
const char* colour_of(std::string_view level) {
    if (level.starts_with("fatal")) return "\033[1;31m";
    if (level.starts_with("warning")) return "\033[33m";
    return level.starts_with("ok") ? "\033[32m" : "\033[2m";
}

/// Colours the first column of each line but the first.
std::string coloured(const std::string& table) {
    std::string text;
    std::size_t from = table.find('\n') + 1;
    text = table.substr(0, from);
    while (from < table.size()) {
        const std::size_t end = table.find('\n', from);
        const std::size_t blank = std::min(table.find(' ', from), end);
        const std::string level = table.substr(from, blank - from);
        text.append(colour_of(level)).append(level).append("\033[m");
        text.append(table, blank, end + 1 - blank);
        from = end + 1;
    }
    return text;
}

std::string status_text(const Json& status) {
    const Json controller = object_at(status, "controller");
    const Json watchdog = object_at(status, "watchdog");
    const std::string detail = text_at(watchdog, "detail");
    std::string text = "ZELntserver " + shown(text_at(status, "version")) + " at " +
                       local_time(text_at(status, "time")) +
                       "; controller: " + shown(text_at(controller, "state")) +
                       "\nwatchdog timer: " + shown(text_at(watchdog, "state")) +
                       (detail.empty() ? "" : ", " + shown(detail)) + "\n\n";
    std::vector<Row> rows{{"LEVEL", "RESOURCE", "OBJECT", "VALUE", "LIMIT", "SINCE"}};
    for (const Json& object : status["objects"]) {
        const std::string level = text_at(object, "level");
        const bool stale = flag_at(object, "stale") && level != "unknown";
        rows.push_back({shown(level) + (stale ? " (stale)" : ""), shown(text_at(object, "resource")),
                        name_of(object), amount(object, "value"), amount(object, "limit"),
                        local_time(text_at(object, "since"))});
    }
    const std::string table = columns(rows);
    return text + (is_coloured() ? coloured(table) : table);
}

/// True when the service answers; who may not ask it takes its word.
bool is_running() {
    if (!may_change()) return true;
    return client::request("ping", std::chrono::steady_clock::now() + std::chrono::seconds(1)).outcome ==
           client::Outcome::ok;
}

/// Waits; false when it is time to end.
bool rest(std::chrono::milliseconds time, int file = -1) {
    pollfd watched{.fd = file, .events = POLLIN, .revents = 0};
    return ::poll(&watched, 1, static_cast<int>(time.count())) >= 0 || errno == EINTR;
}

// ---- Events ----

/// "90m", "7d", "2026-01-31", "2026-01-31T12:00:00Z".
std::optional<Clock::time_point> parse_since(const std::string& text) {
    if (const auto time = tell::time_of(text)) return time;
    if (const auto day = tell::time_of(text + "T00:00:00.000Z")) return day;
    if (text.size() == 20 && text.back() == 'Z')
        if (const auto second = tell::time_of(text.substr(0, 19) + ".000Z")) return second;
    int number = 0;
    const char* const end = text.data() + text.size();
    const auto [unit, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc{} || number < 0 || unit + 1 != end) return std::nullopt;
    constexpr std::array kUnits{std::pair{'s', 1}, std::pair{'m', 60}, std::pair{'h', 3600},
                                std::pair{'d', 86400}};
    const auto* const known = std::ranges::find(kUnits, *unit, &std::pair<char, int>::first);
    if (known == kUnits.end()) return std::nullopt;
    return Clock::now() - std::chrono::seconds(std::int64_t{number} * known->second);
}

std::string event_text(const tell::Event& event) {
    return local_time(tell::time_text(event.time)) + "  " + shown(event.message) + '\n';
}

// ---- Metrics ----

std::string label(std::string_view name, std::string_view value) {
    std::string text = std::string(name) + "=\"";
    for (const char c : value) {
        if (c == '\\' || c == '"') text += '\\';
        text.append(c == '\n' ? "\\n" : std::string(1, c));
    }
    return text + '"';
}

std::string labels_of(const Json& object) {
    std::string labels =
        label("resource", text_at(object, "resource")) + ',' + label("object", text_at(object, "object"));
    const std::string kind = text_at(object, "kind");
    return kind.empty() ? labels : labels + ',' + label("kind", kind);
}

/// A family of samples, one for each object that has the value.
template <class Value>
void add_family(std::string& text, const Json& status, const char* name, const char* help, Value value) {
    text.append("# HELP ")
        .append(name)
        .append(" ")
        .append(help)
        .append("\n# TYPE ")
        .append(name)
        .append(" gauge\n");
    for (const Json& object : status["objects"]) {
        const std::optional<std::string> sample = value(object);
        if (sample)
            text.append(name).append("{").append(labels_of(object)).append("} ").append(*sample).append("\n");
    }
}

/// What counts thousandths, in whole ones.
std::string thousandths_text(std::int64_t number) {
    const auto magnitude =
        number < 0 ? 0 - static_cast<std::uint64_t>(number) : static_cast<std::uint64_t>(number);
    const std::string fraction = std::to_string(magnitude % 1000);
    return (number < 0 ? "-" : "") + std::to_string(magnitude / 1000) + '.' +
           std::string(3 - fraction.size(), '0') + fraction;
}

/// Prometheus counts in volts.
std::optional<std::string> number_text(const Json& object, const char* name) {
    const auto number = number_at(object, name);
    if (!number) return std::nullopt;
    return text_at(object, "unit") == "millivolts" ? thousandths_text(*number) : std::to_string(*number);
}

/// A sensor's reading, as long as it is one: the last of a controller that is silent would draw a straight line.
std::optional<std::string> reading_text(const Json& object, std::string_view unit) {
    if (text_at(object, "unit") != unit || flag_at(object, "stale")) return std::nullopt;
    return number_text(object, "value");
}

std::optional<std::string> seconds_text(const Json& json, const char* name) {
    const auto time = tell::time_of(text_at(json, name));
    if (!time) return std::nullopt;
    return thousandths_text(
        std::chrono::duration_cast<std::chrono::milliseconds>(time->time_since_epoch()).count());
}

/// A family of one sample; its labels stand with its name.
void add_single(std::string& text, const std::string& sample, const char* type, const char* help,
                const std::string& value) {
    const std::string name = sample.substr(0, sample.find('{'));
    text.append("# HELP ").append(name).append(" ").append(help).append("\n# TYPE ").append(name).append(" ");
    text.append(type).append("\n").append(sample).append(" ").append(value).append("\n");
}

void add_up(std::string& text, bool up) {
    add_single(text, "zelagent_up", "gauge", "1 when the service has told a status.", up ? "1" : "0");
}

std::string metrics_text(const Json& status) {
    std::string text;
    add_up(text, true);
    add_single(text, "zelagent_build_info{" + label("version", text_at(status, "version")) + '}', "gauge",
               "The version of the service.", "1");
    add_family(
        text, status, "zelagent_level", "0 ok, 1 warning, 2 fatal; -1 not known.", [](const Json& object) {
            constexpr std::array kLevels{"ok", "warning", "fatal"};
            const auto* const level = std::ranges::find(kLevels, text_at(object, "level"));
            return std::optional<std::string>(level != kLevels.end() ? std::to_string(level - kLevels.begin())
                                                                     : "-1");
        });
    add_family(text, status, "zelagent_stale", "1 when it could not be read since.", [](const Json& object) {
        return std::optional<std::string>(flag_at(object, "stale") ? "1" : "0");
    });
    add_family(text, status, "zelagent_value",
               "What was read last: degrees Celsius, volts, percent, MiB or a number.",
               [](const Json& object) { return number_text(object, "value"); });
    add_family(text, status, "zelagent_threshold",
               "The threshold that counts next, in the unit of zelagent_value.",
               [](const Json& object) { return number_text(object, "limit"); });
    add_family(text, status, "zelagent_sensor_celsius", "Temperatures; none while they cannot be read.",
               [](const Json& object) { return reading_text(object, "degrees"); });
    add_family(text, status, "zelagent_sensor_volts", "Voltages; none while they cannot be read.",
               [](const Json& object) { return reading_text(object, "millivolts"); });
    add_family(text, status, "zelagent_last_sample_timestamp_seconds", "When it was read last.",
               [](const Json& object) { return seconds_text(object, "sampled"); });
    const Json controller = object_at(status, "controller");
    if (text_at(controller, "state") != "none")
        add_single(text, "zelagent_controller_up", "gauge", "1 when the management controller answers.",
                   text_at(controller, "state") == "answering" ? "1" : "0");
    add_single(text, "zelagent_controller_requests_total", "counter", "Requests to the controller.",
               number_text(controller, "requests").value_or("0"));
    if (const auto time = seconds_text(status, "time"))
        add_single(text, "zelagent_status_timestamp_seconds", "gauge", "When the service wrote this.", *time);
    return text;
}

/// Replaces a file at once: who reads it never sees a part. What is there and no file stays, for /dev/null would go.
bool replace_file(const std::string& path, const std::string& text) {
    const std::string name = base::last_name(path);
    const std::string next = '.' + name + '.' + std::to_string(::getpid());
    const auto folder = base::OwnFolder::open(base::parent_folder(path));
    if (!folder || (!folder.open_file(name, O_RDONLY) && errno != ENOENT)) return false;
    folder.remove(next);  // of a process that was killed
    const auto file = folder.open_file(next, O_WRONLY | O_CREAT | O_EXCL, 0600);
    const bool replaced = file && base::write_all(file.get(), text) && ::fchmod(file.get(), 0644) == 0 &&
                          folder.rename(next, name);
    const base::ErrnoKeeper keeper;
    if (file && !replaced) folder.remove(next);
    return replaced;
}

}  // namespace

Exit run_status(const Request& request, Answer& answer) {
    for (;;) {
        auto status = read_status(answer.problems);
        answer.json = status ? *status : Json{{"schema", kSchema}, {"objects", Json::array()}};
        if (!status) return Exit::failed;
        answer.text = request.json ? base::json_text(*status) + '\n' : status_text(*status);
        if (!request.watch) break;
        if (!put_out((is_coloured() ? "\033[H\033[2J" : "") + answer.text) || !rest(std::chrono::seconds(2)))
            return Exit::failed;
    }
    if (is_running()) return Exit::done;
    answer.problems.push_back({"", "the service does not run: this is what it wrote last"});
    return Exit::failed;
}

Exit run_events(const Request& request, Answer& answer) {
    answer.json = {{"schema", kSchema}, {"events", Json::array()}};
    Clock::time_point since{};
    if (request.since) {
        const auto time = parse_since(*request.since);
        if (!time) {
            answer.problems.push_back({"", *request.since + " is no time"});
            return Exit::usage;
        }
        since = *time;
    }
    hooks::LogFollower log;
    std::uint64_t last = 0;
    bool heard = true;
    const auto take = [&](const hooks::EventLine& line, bool /*begins*/) {
        const auto event = tell::from_line(line.line);
        if (!event || event->seq <= last) return true;
        last = event->seq;
        if (event->time < since) return true;
        if (request.follow) {
            heard = put_out(request.json ? line.line + '\n' : event_text(*event));
        } else if (request.json) {
            answer.json["events"].push_back(base::parse_json(line.line));
        } else {
            answer.text += event_text(*event);
        }
        return heard;
    };
    log.watching();
    log.read(take);
    while (request.follow && heard && rest(std::chrono::minutes(1), log.watch())) {
        log.watching();
        log.read(take);
    }
    return heard ? Exit::done : Exit::failed;
}

Exit run_metrics(const Request& request, Answer& answer) {
    const auto status = read_status(answer.problems);
    std::string text;
    if (status)
        text = metrics_text(*status);
    else
        add_up(text, false);
    answer.json = {{"schema", kSchema}, {"metrics", text}};
    if (!request.output) {
        if (status) answer.text = std::move(text);
    } else if (!replace_file(*request.output, text)) {
        answer.problems.push_back({"", *request.output + ": " + base::why_not_opened()});
        return Exit::failed;
    }
    return status ? Exit::done : Exit::failed;
}

Exit run_alert(const Request& request, Answer& answer) {
    answer.json = {{"schema", kSchema}};
    if (request.words.front() != "test") {
        answer.problems.push_back({"", "alert needs test"});
        return Exit::usage;
    }
    const auto reply =
        client::request("alert test", std::chrono::steady_clock::now() + std::chrono::seconds(5));
    if (reply.outcome == client::Outcome::ok) {
        answer.text = "told: zelctl events shows it, and so should whatever you have set up\n";
        return Exit::done;
    }
    answer.problems.push_back({"", reply.text.empty() ? "the service does not answer" : reply.text});
    return Exit::no_service;
}

}  // namespace zel::ctl
