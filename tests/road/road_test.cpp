// SPDX-License-Identifier: GPL-3.0-or-later
// The tool on its real libraries and service, on a private agent directory. Every file of cases/ is a road
// from start to end, a step a line; it ends at the first step that fails.
//
//   write FILE              the indented lines that follow, into the agent's directory; $ZelDir is that one,
//                           $controller the lines of agent.conf that lead to the simulated controller
//   bytes FILE XX XX ...    a file of these bytes
//   remove FILE             or a folder
//   move FILE               to another name, as an administrator does with a log
//   controller              starts the simulated controller
//   rules RULE              what it does from now on (tools/simulator/zelsim_module.c); nothing: as usual
//   asked REQUEST           it was asked something that begins so since the last such step
//   service                 starts the service
//   log TEXT                the service says this
//   tool                    ends the tool that runs, and starts one
//   refuses TEXT            the same for a tool that tells this on the terminal and ends
//   menu ROW, ROW ...       these are the rows of the menu
//   open ROW                chooses a row of the menu
//   keys KEY KEY ...        see VtApp::keys
//   press BUTTON            moves to a button and presses it
//   shows TEXT              these words are on the screen, frames, line ends and an entry's room being blanks
//   told TEXT               a message says this, and is answered
//   file FILE [GROUP] LINE  the group of that file has the line, or a file of that name, wherever it lies,
//                           the text
#include <chrono>
#include <map>
#include <optional>

#include "running_simulator.h"
#include "service_process.h"
#include "vt_app.h"

namespace {

using namespace zel::test;
using std::chrono::steady_clock;

/// What stands before the first `mark`, and what behind it.
std::pair<std::string, std::string> split(const std::string& text, char mark) {
    const auto at = std::min(text.find(mark), text.size());
    return {text.substr(0, at), text.substr(std::min(at + 1, text.size()))};
}

/// The file of that name, wherever it lies in the agent's directory.
std::string path_of(const std::string& name) {
    for (const auto& entry : fs::recursive_directory_iterator(zel::base::agent_dir()))
        if (entry.path().filename() == name) return entry.path();
    throw std::runtime_error("no file " + name);
}

/// A group of a settings file, with a line feed before and behind each of its lines.
std::string group_of(const std::string& text, const std::string& head) {
    const auto from = ('\n' + text).find('\n' + head + '\n');
    return from < text.size() ? text.substr(from, text.find("\n[", from) - from) + '\n' : "";
}

bool has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

/// The screen, frames, line ends and the room of entries being a blank.
std::string plain(std::string picture) {
    for (std::size_t at = 0; (at = picture.find("│", at)) != std::string::npos;)
        picture.replace(at, std::string_view("│").size(), " ");
    std::ranges::replace_if(
        picture, [](char c) { return c == '_' || c == '\n'; }, ' ');
    const auto both_blank = [](char a, char b) { return a == ' ' && b == ' '; };
    picture.erase(std::unique(picture.begin(), picture.end(), both_blank), picture.end());
    return picture;
}

class Road : public testing::TestWithParam<std::string> {
  protected:
    Road() {
        for (const char* part : {"data", "lib"})
            fs::create_directory_symlink(fs::path(BUILT_AGENT) / part, home(part));
        options_.command = {TOOL_PROGRAM};
        options_.preload = {QUICK_BUTTONS_LIBRARY};
        options_.environment = {{"ZelDir", zel::base::agent_dir()}};
        options_.redirect[2] = home("errors");
    }

    void walk(const std::string& road) {
        std::ifstream file(road);
        std::string line, step;
        for (int number = 1, first = 1; file && !HasFailure(); ++number) {
            if (std::getline(file, line) && line.starts_with("  ")) {
                step += '\n' + line.substr(2);
                continue;
            }
            SCOPED_TRACE(road + ':' + std::to_string(first) + ": " + step);
            if (!step.empty() && !step.starts_with('#')) take(step);
            step = line;
            first = number;
        }
    }

    /// Ends everything, and looks how it went.
    void finish() {
        end_tool();
        EXPECT_EQ(read_text(home("errors")), "");
        if (!service_) return;
        const std::chrono::duration<double> ran = steady_clock::now() - service_since_;
        EXPECT_LT(service_->cpu_seconds() - service_start_cost_, 0.1 + ran.count() / 10) << "idle it rests";
    }

  private:
    void take(std::string step) try {
        static const std::map<std::string, void (Road::*)(const std::string&)> steps = {
            {"write", &Road::write},
            {"bytes", &Road::bytes},
            {"remove", &Road::remove},
            {"move", &Road::move},
            {"controller", &Road::controller},
            {"rules", &Road::rules},
            {"asked", &Road::asked},
            {"service", &Road::service},
            {"log", &Road::log},
            {"tool", &Road::tool},
            {"refuses", &Road::refuses},
            {"menu", &Road::menu},
            {"open", &Road::open},
            {"keys", &Road::keys},
            {"press", &Road::press},
            {"shows", &Road::shows},
            {"told", &Road::told},
            {"file", &Road::file}};
        const std::map<std::string, std::string> names = {
            {"$ZelDir", zel::base::agent_dir()}, {"$controller", simulator_ ? simulator_->section() : ""}};
        for (const auto& [name, value] : names)
            for (std::size_t at = 0; (at = step.find(name, at)) != std::string::npos;)
                step.replace(at, name.size(), value);
        const auto [name, rest] = split(step, ' ');
        (this->*steps.at(name))(rest);
        EXPECT_FALSE(HasFailure() && tool_) << tool_->picture();
    } catch (const std::exception& error) {
        ADD_FAILURE() << error.what();
    }

    void write(const std::string& what) {
        const auto [name, text] = split(what, '\n');
        fs::create_directories(fs::path(home(name)).parent_path());
        write_text(home(name), text + '\n');
        if (text.starts_with("#!")) fs::permissions(home(name), fs::perms(0700));
    }
    void bytes(const std::string& what) {
        const auto [name, digits] = split(what, ' ');
        std::istringstream each(digits);
        std::string all;
        for (unsigned byte = 0; each >> std::hex >> byte;)
            all += static_cast<char>(byte);
        fs::create_directories(fs::path(home(name)).parent_path());
        write_text(home(name), all);
    }
    void remove(const std::string& name) { EXPECT_GT(fs::remove_all(home(name)), 0U); }
    void move(const std::string& name) { fs::rename(path_of(name), path_of(name) + ".moved"); }
    void file(const std::string& what) {
        const auto [name, wanted] = split(what, ' ');
        const std::string text = read_text(path_of(name));
        const auto [head, line] = split(wanted, ']');
        const bool grouped = wanted.starts_with('[');
        EXPECT_TRUE(grouped ? has(group_of(text, head + ']'), '\n' + line.substr(1) + '\n')
                            : has(text, wanted))
            << text;
    }

    void controller(const std::string& /*none*/) { simulator_.emplace(zel::simulator::small_server()); }
    void rules(const std::string& rule) { simulator_->rules(rule + '\n'); }
    void asked(const std::string& request) {
        const Strings requests = simulator_->requests();
        EXPECT_TRUE(std::ranges::any_of(requests, [&](const auto& one) { return one.starts_with(request); }))
            << testing::PrintToString(requests);
    }

    void service(const std::string& /*none*/) {
        service_.emplace();
        EXPECT_TRUE(service_->ready()) << service_->said();
        service_since_ = steady_clock::now();
        service_start_cost_ = service_->cpu_seconds();
    }
    void log(const std::string& text) { EXPECT_TRUE(service_->says(text)) << service_->said(); }

    void tool(const std::string& /*none*/) {
        end_tool();
        EXPECT_TRUE(tool_.emplace(options_).settle()) << read_text(home("errors"));
    }
    void refuses(const std::string& text) {
        end_tool();
        EXPECT_EQ(tool_.emplace(options_).wait_exit(), 0);
        EXPECT_EQ(tool_->picture(), text + '\n');
        tool_.reset();
    }
    void end_tool() {
        if (!tool_) return;
        tool_->send("Ctrl-O");  // ends it where the menu is on top
        EXPECT_EQ(tool_->wait_exit(), 0) << tool_->picture();
        EXPECT_TRUE(tool_->terminal_restored());
        tool_.reset();
    }

    void keys(const std::string& names) { tool_->keys(names); }
    void press(const std::string& button) { zeltest::press(*tool_, button); }
    void menu(const std::string& rows) {
        keys("Home");
        std::istringstream each(rows);
        std::string row;
        for (; std::getline(each >> std::ws, row, ','); keys("Down"))
            EXPECT_EQ(highlighted(*tool_), row);
        EXPECT_EQ(highlighted(*tool_), rows.substr(rows.rfind(',') + 2)) << "there is one row more";
    }
    void open(const std::string& row) {
        constexpr int kMostRows = 13;
        keys("Home");
        for (int i = 0; i < kMostRows && highlighted(*tool_) != row; ++i)
            keys("Down");
        ASSERT_EQ(highlighted(*tool_), row);
        keys("Enter");
    }
    void shows(const std::string& text) { EXPECT_TRUE(has(plain(tool_->picture()), ' ' + text + ' ')); }
    void told(const std::string& text) {
        shows(text);
        EXPECT_TRUE(tool_->shows("│  ok  │"));
        keys("Enter");
    }

    std::optional<RunningSimulator> simulator_;
    std::optional<ServiceProcess> service_;
    steady_clock::time_point service_since_;
    double service_start_cost_ = 0;
    zeltest::VtOptions options_;
    std::optional<zeltest::VtApp> tool_;
};

TEST_P(Road, IsWalkedToItsEnd) {
    walk(GetParam());
    if (!HasFailure()) finish();
}

Strings roads() {
    Strings all;
    for (const auto& entry : fs::directory_iterator(ROADS))
        all.push_back(entry.path());
    return all;
}
INSTANTIATE_TEST_SUITE_P(, Road, testing::ValuesIn(roads()),
                         [](const auto& road) { return fs::path(road.param).stem().string(); });

}  // namespace
