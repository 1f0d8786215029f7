// SPDX-License-Identifier: GPL-3.0-or-later
#include "steps.h"

#include <chrono>

#include "case_text.h"

namespace zel::test {
namespace {

using simulator::Sensor;
using zeltest::joined;

/// The file of that name, wherever it lies in the agent's directory.
std::string path_of(const std::string& name) {
    for (const auto& entry : fs::recursive_directory_iterator(base::agent_dir()))
        if (entry.path().filename() == name) return entry.path();
    throw std::runtime_error("no file " + name);
}

/// A group of a settings file, with a line feed before and behind each of its lines.
std::string group_of(const std::string& text, const std::string& head) {
    const auto from = ('\n' + text).find('\n' + head + '\n');
    return from < text.size() ? text.substr(from, text.find("\n[", from) - from) + '\n' : "";
}

void write_file(const std::string& name, const std::string& text) {
    fs::create_directories(fs::path(home(name)).parent_path());
    write_text(home(name), text);
    if (text.starts_with("#!")) fs::permissions(home(name), fs::perms(0700));
}

void write_bytes(const std::string& what) {
    const auto [name, digits] = split_at(what, " ");
    std::istringstream each(digits);
    std::string all;
    for (unsigned byte = 0; each >> std::hex >> byte;)
        all += static_cast<char>(byte);
    write_file(name, all);
}

void expect_in_file(const std::string& what) {
    const auto [name, wanted] = split_at(what, " ");
    const std::string text = read_text(path_of(name));
    const auto [head, line] = split_at(wanted, "] ");
    EXPECT_TRUE(wanted.starts_with('[') ? has(group_of(text, head + ']'), '\n' + line + '\n')
                                        : has(text, wanted))
        << text;
}

Sensor sensor_of(const std::string& line) {
    static const std::map<std::string, void (*)(Sensor&, int)> fields = {
        {"number", [](Sensor& sensor, int n) { sensor.number = static_cast<std::uint8_t>(n); }},
        {"lun", [](Sensor& sensor, int n) { sensor.lun = static_cast<std::uint8_t>(n); }},
        {"access", [](Sensor& sensor, int n) { sensor.access = static_cast<simulator::Access>(n); }},
        {"thresholds", [](Sensor& sensor, int n) { sensor.thresholds = static_cast<std::uint8_t>(n); }},
        {"live", [](Sensor& sensor, int n) { sensor.live_thresholds = static_cast<std::uint8_t>(n); }},
        {"not_settable", [](Sensor& sensor, int n) { sensor.not_settable = static_cast<std::uint8_t>(n); }},
        {"factor", [](Sensor& sensor, int n) { sensor.factor = n; }},
        {"max_code", [](Sensor& sensor, int n) { sensor.max_code = n; }},
        {"min_code", [](Sensor& sensor, int n) { sensor.min_code = n; }}};
    Sensor sensor;
    std::istringstream words(line);
    for (std::string word; words >> word;) {
        const auto [field, value] = split_at(word, "=");
        std::istringstream numbers(value);
        if (value.empty())
            sensor.name = joined(sensor.name, word);
        else if (field == "codes")
            for (int& code : sensor.codes)
                numbers >> code, numbers.ignore();
        else
            fields.at(field)(sensor, std::stoi(value, nullptr, 0));
    }
    return sensor;
}

}  // namespace

std::string shell(const std::string& command) {
    const std::string whole =
        "cd '" + base::agent_dir() + "' && PATH=" PROGRAMS ":$PATH\n{ " + command + "\n} 2>&1";
    FILE* const pipe = popen(whole.c_str(), "r");
    std::string said;
    char buffer[4096];
    for (std::size_t got = 1; pipe && (got = fread(buffer, 1, sizeof buffer, pipe)) > 0;)
        said.append(buffer, got);
    const int status = pipe ? pclose(pipe) : -1;
    if (said.ends_with('\n')) said.pop_back();
    if (status != 0) said = joined(said, "(" + std::to_string(WEXITSTATUS(status)) + ')');
    return said.empty() ? "ok" : said;
}

std::pair<std::string, std::string> split_at(const std::string& text, const std::string& mark) {
    const auto at = std::min(text.find(mark), text.size());
    return {text.substr(0, at), text.substr(std::min(at + mark.size(), text.size()))};
}

bool has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

Steps::Steps() {
    using Text = const std::string&;
    steps_ = {{"write", [](Text name, Text text) { write_file(name, text + '\n'); }},
              {"bytes", [](Text what, Text) { write_bytes(what); }},
              {"chmod",
               [](Text what, Text) {
                   const auto [name, mode] = split_at(what, " ");
                   fs::permissions(home(name), fs::perms(std::stoi(mode, nullptr, 8)));
               }},
              {"remove", [](Text name, Text) { EXPECT_GT(fs::remove_all(home(name)), 0U); }},
              {"move", [](Text name, Text) { fs::rename(path_of(name), path_of(name) + ".moved"); }},
              {"file", [](Text what, Text) { expect_in_file(what); }},
              {"lacks",
               [](Text what, Text) {
                   const auto [name, text] = split_at(what, " ");
                   EXPECT_FALSE(has(read_text(path_of(name)), text));
               }},
              {"controller", [this](Text how, Text sensors) { start_controller(how, sensors); }},
              {"rules",
               [this](Text rules, Text) {
                   std::string lines = rules + '\n';
                   zeltest::replace(lines, "; ", [](auto) { return "\n"; });
                   simulator_->rules(lines);
               }},
              {"asked", [this](Text beginning, Text exactly) { expect_asked(beginning, exactly); }},
              {"await", [this](Text beginning, Text) { await(beginning); }},
              {"each",
               [this](Text items, Text below) {
                   for (const std::string& item : zeltest::split(items, "; ")) {
                       names_["$it"] = item;
                       std::istringstream lines(below);
                       for (std::string line; std::getline(lines, line) && !HasFailure();) {
                           SCOPED_TRACE(item + ": " + line);
                           take(expanded(line), "");
                       }
                   }
                   names_.erase("$it");
               }},
              {"ends",
               [this](Text, Text) {
                   EXPECT_EQ(service_->finish(SIGTERM), 0);
                   service_.reset();
               }},
              {"service",
               [this](Text, Text) {
                   service_.reset();
                   EXPECT_TRUE(service_.emplace().ready()) << service_->said();
               }},
              {"reload", [this](Text, Text) { kill(service_->id(), SIGHUP); }},
              {"log",
               [this](Text text, Text lines) {
                   EXPECT_TRUE(service_->says(lines.empty() ? text : lines + '\n')) << service_->said();
               }},
              {"within", [this](Text what, Text below) {
                   const auto [limits, step] = split_at(what, " ");
                   const auto [shortest, longest] = split_at(has(limits, "-") ? limits : "0-" + limits, "-");
                   const auto start = std::chrono::steady_clock::now();
                   take(step, below);
                   const std::chrono::duration<double, std::milli> took =
                       std::chrono::steady_clock::now() - start;
                   EXPECT_TRUE(took.count() >= std::stoi(shortest) && took.count() < std::stoi(longest))
                       << took.count();
               }}};
    add_call("shell", shell);
}

void Steps::add_call(const std::string& name, const Call& call) {
    steps_[name] = [call](const std::string& line, const std::string& below) {
        const auto [arguments, behind] = split_at(' ' + line, " = ");
        const std::string expected = !below.empty() ? below : behind.empty() ? "ok" : behind;
        const std::string actual = call(zeltest::trimmed(arguments));
        EXPECT_TRUE(zeltest::fits(expected, actual)) << "expected: " << expected << "\nactual:   " << actual;
    };
}

void Steps::walk() {
    std::ifstream file(GetParam());
    EXPECT_TRUE(file);
    std::string line, step, below;
    for (int number = 1, first = 1; file && !HasFailure(); ++number) {
        if (std::getline(file, line) && line.starts_with("  ")) {
            below += (below.empty() ? "" : "\n") + line.substr(2);
            continue;
        }
        SCOPED_TRACE(GetParam() + ':' + std::to_string(first) + ": " + step + '\n' + below);
        if (const auto [name, text] = split_at(step, " "); name.starts_with('$'))
            names_[name] = expanded(text);
        else if (!step.empty() && !step.starts_with('#'))
            take(expanded(step), expanded(below));
        step = line;
        below.clear();
        first = number;
    }
}

void Steps::take(const std::string& line, const std::string& below) try {
    const auto [name, rest] = split_at(line, " ");
    steps_.at(name)(rest, below);
    if (HasFailure()) ADD_FAILURE() << circumstances();
} catch (const std::exception& error) {
    ADD_FAILURE() << error.what() << '\n' << circumstances();
}

std::string Steps::expanded(std::string text) {
    names_["$ZelDir"] = base::agent_dir();
    names_["$controller"] = simulator_ ? simulator_->section() : "";
    const auto expand_name = [this](const std::string& name) {
        const auto known = names_.find(name);
        return known == names_.end() ? name : known->second;
    };
    zeltest::replace(text, R"(\$[A-Za-z]+)", expand_name);
    zeltest::expand(text);
    return text;
}

void Steps::await(const std::string& beginning) {
    for (int looks = 0; looks < 1000; ++looks, usleep(10'000)) {
        const Strings requests = simulator_->requests();
        if (std::ranges::any_of(requests, [&](const auto& one) { return one.starts_with(beginning); }))
            return;
    }
    ADD_FAILURE() << "nobody asked " << beginning;
}

void Steps::expect_asked(const std::string& what, const std::string& exactly) {
    const bool nothing = what.starts_with("nothing");
    const std::string beginning = nothing ? split_at(what, " ").second : what;
    std::string all;
    for (const auto& request : simulator_->requests())
        if (request.starts_with(beginning)) all = joined(all, request, "\n");
    if (!what.empty() || !exactly.empty()) {
        EXPECT_TRUE(exactly.empty() ? all.empty() == nothing : all == exactly) << all;
    }
}

void Steps::start_controller(const std::string& how, const std::string& sensors) {
    const int port = how == "again" ? simulator_->port() : 0;
    std::vector<Sensor> all;
    std::istringstream lines(sensors);
    for (std::string line; std::getline(lines, line);)
        all.push_back(sensor_of(line));
    simulator_.reset();
    simulator_.emplace(all.empty() ? simulator::small_server() : all, Records(), port);
}

Strings files_of(const char* folder) {
    Strings all;
    for (const auto& entry : fs::directory_iterator(folder))
        all.push_back(entry.path());
    return all;
}

std::string stem_of(const testing::TestParamInfo<std::string>& file) {
    return fs::path(file.param).stem().string();
}

}  // namespace zel::test
