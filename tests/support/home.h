// SPDX-License-Identifier: GPL-3.0-or-later
// What the agent's tests share: an agent's directory of the program's own, processes, files. Every test
// starts without state and configuration; only the trace logs stay, since a process opens its log once.
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "base/paths.h"

namespace zel::test {

namespace fs = std::filesystem;
using Strings = std::vector<std::string>;

class FreshHome : public testing::EmptyTestEventListener {
  public:
    FreshHome() {
        umask(022);  // a home that others could write to is none
        if (mkdtemp(root_.data()) == nullptr) abort();
        fs::permissions(root_, fs::perms(0755));
        // So deep that a socket's plain path does not fit an address.
        const std::string home = root_ + '/' + std::string(120, 'd');
        fs::create_directory(home);
        setenv("ZelDir", (home + "//").c_str(), 1);
    }
    ~FreshHome() override { fs::remove_all(root_); }

  private:
    void OnTestStart(const testing::TestInfo& /*test*/) override {
        for (const std::string& folder : {base::agent_dir(), base::settings_folder()}) {
            ASSERT_TRUE(base::make_private_dir(folder));
            for (const auto& entry : fs::directory_iterator(folder)) {
                if (entry.path() != base::settings_folder() && entry.path().filename() != "log")
                    fs::remove_all(entry);
            }
        }
    }
    std::string root_ = fs::temp_directory_path() / "zel-tests-XXXXXX";
};
inline const bool home_is_fresh = (testing::UnitTest::GetInstance()->listeners().Append(new FreshHome), true);

/// Runs `body` in a forked process; its result is the exit status.
template <class Body>
pid_t start_process(Body body) {
    const pid_t child = fork();
    if (child == 0) _exit(body());
    return child;
}

/// The exit status, or 128 + the signal that ended it.
inline int finish_process(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

/// Runs `body` in several processes at once. True when all of them end with 0.
template <class Body>
bool run_processes(int count, const Body& body) {
    std::vector<pid_t> children;
    while (std::ssize(children) < count)
        children.push_back(start_process(body));
    return std::ranges::count(children, 0, finish_process) == count;
}

inline std::string read_text(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline void write_text(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

inline std::string home(const std::string& name) {
    return base::agent_dir() + '/' + name;
}
inline std::string state(const std::string& name) {
    return base::settings_folder() + '/' + name;
}

/// The files of the state folder whose names contain `part`.
inline Strings state_files(const std::string& part) {
    Strings found;
    for (const auto& entry : fs::directory_iterator(base::settings_folder())) {
        if (entry.path().filename().string().find(part) != std::string::npos) found.push_back(entry.path());
    }
    return found;
}

}  // namespace zel::test
