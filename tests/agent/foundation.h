// SPDX-License-Identifier: GPL-3.0-or-later
// What the tests of the agent's foundation share. Each test starts with an empty state folder
// (store_test.cpp).
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "store/paths.h"

namespace zel::test {

/// Runs `body` in a forked process; its result is the exit status.
template <class Body>
pid_t start_process(const Body& body) {
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
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

inline void write_text(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

/// The files of the state folder whose names contain `part`.
inline std::vector<std::string> state_files(const std::string& part) {
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(store::state_dir())) {
        if (entry.path().filename().string().find(part) != std::string::npos) found.push_back(entry.path());
    }
    return found;
}

}  // namespace zel::test
