// SPDX-License-Identifier: GPL-3.0-or-later
#include <sys/stat.h>

#include <cerrno>
#include <regex>
#include <set>
#include <sstream>
#include <thread>

#include "home.h"
#include "zel/tracelog.h"

namespace {

using namespace zel::test;

std::string log_path(const std::string& program) {
    return state("log/" + program + ".log");
}

Strings lines_of(const std::string& path) {
    Strings lines;
    std::ifstream text(path);
    for (std::string line; std::getline(text, line);)
        lines.push_back(line);
    return lines;
}

TEST(TraceLog, ACallIsOneLine) {
    // A process has one log for ever, so each test writes from processes of its own.
    const pid_t writer = start_process([] {
        TraceLog(TRACE_LEVEL_ERROR, "m", "f", 1, "before the log is open");
        const int opened = TraceLogInit(0, "../a b", 0, 5, 0);
        TraceLogSetThrName("worker");
        TraceLog(TRACE_LEVEL_ERROR, "cpu", "CpuPanel", 12, "<return %d.\n\x1B[2J", 7);
        TraceLogSetThrName(nullptr);
        TraceLog(99, nullptr, nullptr, -1, "%s", "");
        for (std::string text : {"", "x", "xx"}) {
            while (text.size() < 5000)
                text += "\xE6\x97\xA5";
            TraceLog(TRACE_LEVEL_INFO, "m", "f", 1, "%s", text.c_str());
        }
        return opened;
    });
    EXPECT_EQ(finish_process(writer), 0);
    const Strings lines = lines_of(log_path(".._a_b"));
    ASSERT_EQ(lines.size(), 5U);
    const std::string time = R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}[+-]\d{4} )";
    const std::string program = R"( \.\./a b\[)" + std::to_string(writer) + R"(\] )";
    const std::string first = time + "error" + program + R"(worker cpu CpuPanel:12 <return 7\.\\n\\x1b\[2J)";
    EXPECT_TRUE(std::regex_match(lines[0], std::regex(first))) << lines[0];
    EXPECT_TRUE(std::regex_match(lines[1], std::regex(time + "trace" + program + R"(\? \?:-1 )")))
        << lines[1];
    for (std::size_t i = 2; i < 5; ++i) {
        EXPECT_TRUE(lines[i].size() > 4090 && lines[i].size() < 4096) << lines[i].size();
        EXPECT_TRUE(lines[i].ends_with("\xE6\x97\xA5"));
    }
}

TEST(TraceLog, WritersOfSeveralProcessesLoseNoLineWhileTheFileRotates) {
    constexpr int count = 4000;
    const auto write = [](int thread) {
        for (int i = 0; i < count; ++i)
            TraceLog(TRACE_LEVEL_TRACE, "m", "f", 1, "id %d-%d-%d end", getpid(), thread, i);
    };
    EXPECT_TRUE(run_processes(3, [&] {
        if (TraceLogInit(0, "busy", 0, 5, 0) != 0) return 1;
        std::thread other(write, 1);
        write(0);
        other.join();
        return 0;
    }));
    EXPECT_TRUE(fs::exists(log_path("busy") + ".1"));
    std::set<std::string> ids;
    for (const char* suffix : {".1", ".2", ""}) {
        for (const std::string& line : lines_of(log_path("busy") + suffix)) {
            ASSERT_TRUE(line.starts_with("20") && line.ends_with(" end")) << line;
            EXPECT_TRUE(ids.insert(line.substr(line.find("id "))).second) << line;
        }
    }
    EXPECT_EQ(ids.size(), std::size_t{3} * 2 * count);
}

TEST(TraceLog, WhatIsNoPlainFileIsLeftAlone) {
    const std::string victim = state("victim");
    write_text(victim, "untouched");
    ASSERT_TRUE(zel::store::make_private_dir(state("log")));
    fs::create_symlink(victim, log_path("link"));
    ASSERT_EQ(mkfifo(log_path("pipe").c_str(), 0600), 0);
    for (const char* program : {"link", "pipe"}) {
        const pid_t writer = start_process([&] {
            const int result = TraceLogInit(0, program, 0, 5, 0);
            errno = EPERM;
            TraceLog(TRACE_LEVEL_ERROR, "m", "f", 1, "text");
            return result == -1 && errno == EPERM ? 0 : 1;
        });
        EXPECT_EQ(finish_process(writer), 0) << program;
    }
    EXPECT_EQ(read_text(victim), "untouched");
}

}  // namespace
