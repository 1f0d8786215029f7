// SPDX-License-Identifier: GPL-3.0-or-later
#include <sys/stat.h>

#include <cerrno>
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

TEST(TraceLog, WritersOfSeveralProcessesLoseNoLineWhileTheFileRotates) {
    constexpr int count = 4000;
    const auto write = [](int thread) {
        for (int i = 0; i < count; ++i)
            TraceLog(TRACE_LEVEL_TRACE, "m", "f", 1, "id %d-%d-%d \u202E\x9B end", getpid(), thread, i);
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
        std::ifstream text(log_path("busy") + suffix);
        for (std::string line; std::getline(text, line);) {
            ASSERT_TRUE(line.starts_with("20") && line.ends_with(R"( \xe2\x80\xae\x9b end)")) << line;
            EXPECT_TRUE(ids.insert(line.substr(line.find("id "))).second) << line;
        }
    }
    EXPECT_EQ(ids.size(), std::size_t{3} * 2 * count);
}

TEST(TraceLog, TheConfigurationChoosesTheLevelsAndAPrivateAgentHasAll) {
    struct Case {
        const char* configuration;
        const char* levels;
    };
    constexpr Case kCases[] = {
        {"", "trace error fail info "},
        {"[trace]\nlevel=all\n", "trace error fail info "},
        {"# [trace]\n[trace]\r\n level = information \r\n[snmp]\nlevel=all", "error fail info "},
        {"[trace]\nlevel=all\nlevel=errors", "error fail "},
        {"[trace]\nlevel=loud\n", "error trace error fail info "},  // which is told first
    };
    constexpr int kLevels[] = {7, TRACE_LEVEL_ERROR, TRACE_LEVEL_RESOURCE, TRACE_LEVEL_INFO};
    int number = 0;
    for (const Case& one : kCases) {
        const std::string program = "levels" + std::to_string(++number);
        write_text(zel::base::config_file(), one.configuration);
        EXPECT_TRUE(run_processes(1, [&] {
            const int result = TraceLogInit(0, program.c_str(), 0, 5, 0);
            for (const int level : kLevels)
                TraceLog(level, "m", "f", 1, "text");
            return result;
        }));
        std::string levels;
        std::istringstream lines(read_text(log_path(program)));
        for (std::string time, level; lines >> time >> level; std::getline(lines, time))
            levels += level + ' ';
        EXPECT_EQ(levels, one.levels) << one.configuration;
    }
    fs::remove(zel::base::config_file());
}

TEST(TraceLog, WhatIsNoPlainFileIsLeftAlone) {
    const std::string victim = state("victim");
    write_text(victim, "untouched");
    ASSERT_TRUE(zel::base::make_private_dir(state("log")));
    fs::create_symlink(victim, log_path("link"));
    ASSERT_EQ(mkfifo(log_path("pipe").c_str(), 0600), 0);
    for (const char* program : {"link", "pipe"}) {
        EXPECT_TRUE(run_processes(1, [&] {
            const int result = TraceLogInit(0, program, 0, 5, 0);
            TraceLog(TRACE_LEVEL_ERROR, "m", "f", 1, "text");
            return result == -1 ? 0 : 1;
        })) << program;
    }
    EXPECT_EQ(read_text(victim), "untouched");
}

}  // namespace
