// SPDX-License-Identifier: GPL-3.0-or-later
// What is told of a row of looks: the rules as a table (cases/judge.txt), and what holds for any row.
#include "watch/judge.h"

#include <gtest/gtest.h>

#include <fstream>
#include <random>
#include <sstream>

#include "home.h"
#include "tell/event_log.h"
#include "tell/kept_state.h"
#include "watch/cpu_load.h"

namespace zel::watch {
namespace {

using namespace std::chrono_literals;
using namespace zel::test;

Limits limits_of(const std::string& text) {
    Limits limits;
    std::istringstream words(text);
    std::string word;
    for (auto* bounds : {&limits.fatal, &limits.warning}) {
        Bounds read;
        words >> word;
        if (std::sscanf(word.c_str(), "%ld/%ld", &read.report, &read.reset) == 2) *bounds = read;
    }
    while (words >> word) {
        limits.falling |= word == "falling";
        limits.strict |= word == "strict";
        limits.latched |= word == "latched";
        if (word.starts_with("calm=")) limits.calm = std::stoi(word.substr(5));
        if (word.starts_with("rise=")) limits.rise = std::stoi(word.substr(5));
        for (auto& [name, bounds] : {std::pair("low=", &limits.low_fatal), {"cool=", &limits.low_warning}})
            if (Bounds read; word.starts_with(name) && std::sscanf(word.substr(word.find('=') + 1).c_str(),
                                                                   "%ld/%ld", &read.report, &read.reset) == 2)
                *bounds = read;
    }
    return limits;
}

Now at(std::chrono::milliseconds time) {
    return {.wall = std::chrono::system_clock::time_point(time), .since_boot = time};
}

std::vector<Transition> look(Judge& judge, const std::string& what, const Limits& limits,
                             std::chrono::milliseconds time) {
    if (what == "r") return judge.reset("cpu", "a", at(time));
    if (what == "x") return judge.take("cpu", {}, at(time));
    Reading reading{.object = "a", .unit = "percent", .about = "load %v", .limits = limits};
    if (what == "?") reading.state = Reading::State::unreadable;
    if (what != "?" && what != "-") {
        reading.state = Reading::State::value;
        reading.value = std::stol(what);
    }
    return judge.take("cpu", std::span(&reading, 1), at(time));
}

std::string told_text(const std::vector<Transition>& told) {
    std::string text;
    for (const Transition& one : told) {
        constexpr std::array kNames{"", "!", ".", "gone", "unsteady", "steady"};
        if (!text.empty()) text += ' ';
        text += one.kind == Transition::Kind::level ? level_name(one.to)
                                                    : kNames.at(static_cast<std::size_t>(one.kind));
    }
    return text;
}

TEST(Judge, TellsWhatTheTableSays) {
    std::ifstream file(CASES "/judge.txt");
    int cases = 0;
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with('#')) continue;
        const std::size_t first = line.find('|'), second = line.find('|', first + 1);
        std::istringstream looks(line.substr(first + 1, second - first - 1));
        Judge judge;
        std::string told;
        auto time = 1000ms;
        for (std::string what; looks >> what; time += 10s) {
            if (!told.empty() || time > 1000ms) told += ", ";
            told += told_text(look(judge, what, limits_of(line.substr(0, first)), time));
        }
        while (told.ends_with(' '))
            told.pop_back();
        EXPECT_EQ(told, line.substr(second + 2)) << line;
        ++cases;
    }
    EXPECT_GT(cases, 10);
}

/// Looks of all kinds, most of them near the bounds.
std::string any_look(std::mt19937& random) {
    const auto kind = random() % 12;
    return kind == 0                        ? "?"
           : kind == 1                      ? "-"
           : kind == 2 && random() % 8 == 0 ? "x"
                                            : std::to_string(76 + random() % 24);
}

TEST(Judge, WhateverComesItTellsTheTruthAndARestartTellsNothingTwice) {
    const Limits limits = limits_of("95/90 85/80");
    const std::string folder = base::service_folder();
    std::mt19937 random(7);
    for (int round = 0; round < 40; ++round) {
        fs::remove_all(folder);
        fs::create_directories(folder);
        Judge judge, twin;       // which is never restarted
        Level told = Level::ok;  // that it is ok from the first look on is not told
        std::uint64_t seq = 0;
        auto time = 1000ms;
        const auto pause = round % 2 == 0 ? 10s : 400s;  // now and then too often to be told
        for (int step = 0; step < 60; ++step, time += pause) {
            const std::string what = any_look(random);
            const auto transitions = look(judge, what, limits, time);
            EXPECT_EQ(told_text(transitions), told_text(look(twin, what, limits, time)));
            for (const Transition& one : transitions) {
                EXPECT_EQ(std::max(one.from, Level::ok), told);
                EXPECT_TRUE(one.kind != Transition::Kind::level || one.to != told);
                seq += 1;
                if (one.kind != Transition::Kind::unreadable && one.kind != Transition::Kind::readable)
                    told = std::max(one.to, Level::ok);
            }
            for (const auto& [name, thing] : judge.things()) {
                EXPECT_TRUE(std::max(thing.told, Level::ok) == told || thing.unsteady);
                EXPECT_EQ(thing.stale, what == "?" || what == "-");
                if (thing.stale) continue;  // no reading is no recovery: told stays
                const auto value = std::stol(what);
                EXPECT_TRUE(!(value >= 95) || thing.level == Level::fatal);
                EXPECT_TRUE(!(value <= 90) || thing.level != Level::fatal);
                EXPECT_TRUE(!(value >= 85) || thing.level >= Level::warning);
                EXPECT_TRUE(!(value <= 80) || thing.level == Level::ok);
            }
            if (random() % 4 != 0) continue;
            const tell::AllKept kept{
                {"storage", {.position = what, .facts = {{"[a\n" + what, what}, {"b", ""}}}}};
            tell::AllKept again;
            ASSERT_TRUE(tell::save_state(folder, judge, kept, seq));
            Judge next;
            const auto complain = [](const std::string& text) { ADD_FAILURE() << text; };
            EXPECT_EQ(tell::load_state(folder, next, again, complain), seq);
            EXPECT_EQ(again, kept);
            judge = std::move(next);
        }
    }
}

TEST(CpuLoad, IsThatOfTheSpanAndNoOther) {
    CpuLoad load;
    std::uint64_t busy = 0, idle = 0;
    std::deque<int> second;
    std::mt19937 random(3);
    for (int time = 0; time < 400; ++time) {
        if (time > 0) second.push_back(static_cast<int>(random() % 101));
        if (time > 0)
            busy += static_cast<std::uint64_t>(second.back()),
                idle += static_cast<std::uint64_t>(100 - second.back());
        const std::string line = std::to_string(busy / 2) + " 0 " + std::to_string(busy - busy / 2) + ' ' +
                                 std::to_string(idle) + (time % 7 == 3 ? " 0" : " 1") + " 0 0 0 9999 9\n";
        ASSERT_TRUE(load.take("cpu  " + line + (time % 5 == 4 ? "" : "cpu1 " + line), 3,
                              std::chrono::seconds(time), 60s));
        while (second.size() > 60)
            second.pop_front();
        const auto percent = load.percent(0, 60s, 0s);
        ASSERT_EQ(percent.has_value(), time >= 60);
        EXPECT_FALSE(load.percent(1, 60s, 0s));
        EXPECT_EQ(load.percent(2, 60s, 0s).has_value(), time >= 60 && time % 5 != 4);
        if (!percent) continue;
        int sum = 0;
        for (const int one : second)
            sum += one;
        EXPECT_NEAR(*percent, sum / 60.0, 1.1);
    }
}

TEST(EventLog, NumbersGoOnOverEachEndAndEveryFile) {
    const std::string folder = base::service_folder();
    fs::remove_all(folder);
    fs::create_directories(folder);
    std::vector<std::string> said;
    const auto say = [&](const std::string& text) { said.push_back(text); };
    tell::Event event =
        tell::event_of({.resource = "filesystem", .reading = {.object = "/a\n]"}, .to = Level::fatal}, {});
    EXPECT_EQ(event.object, "/a%0A%5D");
    event.message = std::string(900, 'x');
    std::uint64_t last = 0;
    for (int start = 0; start < 14; ++start) {
        tell::EventLog log(folder, say);
        EXPECT_EQ(log.open(last).size(), 0U);
        for (int i = 0; i < 100; ++i)
            log.add(event);
        ASSERT_EQ(event.seq, last + 100);
        last = event.seq;
        std::ofstream(folder + "/events.jsonl", std::ios::app) << "{\"schema\":1,\"se";  // killed
    }
    EXPECT_TRUE(fs::exists(folder + "/events.jsonl.1") && said.empty());
    tell::EventLog log(folder, say);
    const auto newer = log.open(last - 5);
    ASSERT_EQ(newer.size(), 5U);
    EXPECT_EQ(tell::to_line(newer.back()), tell::to_line(event));
    log.add(event);
    std::ofstream(folder + "/events.jsonl", std::ios::app) << "no event\n";
    tell::EventLog damaged(folder, say);
    damaged.open(last + 1);
    EXPECT_EQ(said.size(), 1U);
    EXPECT_EQ(damaged.last(), last + 1);
}

}  // namespace
}  // namespace zel::watch
