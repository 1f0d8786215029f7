// SPDX-License-Identifier: GPL-3.0-or-later
// ZELhooks on a log that is written, renamed and damaged while it runs, is stopped or was killed.
#include <functional>
#include <thread>

#include "service_process.h"

namespace zel::test {
namespace {

std::string line(int seq) {
    return R"({"schema":1,"seq":)" + std::to_string(seq) +
           R"(,"time":"2026-11-21T17:28:09.963Z","event":"level","resource":"cpu","object":"TOTAL","from":"ok",)"
           R"("to":"fatal","value":97,"unit":"percent","limit":95,"message":"a\u0000b\nTo: c"})" +
           '\n';
}

void append(const std::string& text) {
    std::ofstream(state("events.jsonl"), std::ios::app | std::ios::binary) << text;
}

void append_events(int from, int to) {
    for (int seq = from; seq <= to; ++seq)
        append(line(seq));
}

void rotate() {
    fs::rename(state("events.jsonl"), state("events.jsonl.1"));
    append("");
}

void make_hook(const std::string& name, const std::string& body, mode_t mode = 0755) {
    fs::create_directory(home("alert.d"));
    write_text(home("alert.d/" + name), "#!/bin/sh\nout=" + base::settings_folder() + "\n" + body + '\n');
    chmod(home("alert.d/" + name).c_str(), mode);
}

bool eventually(const std::function<bool()>& holds) {
    for (int i = 0; i < 1000 && !holds(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return holds();
}

/// The numbers of events, as the hook `seen` writes them.
std::string numbers(int from, int to) {
    std::string all;
    for (; from <= to; ++from)
        all += std::to_string(from) + '\n';
    return all;
}
bool seen(const std::string& numbers) {
    return eventually([&] { return read_text(state("seen")) == numbers; });
}

TEST(Hooks, EachEventComesOnceAndInOrder) {
    make_hook("seen", "echo $ZEL_SEQ >>$out/seen");
    append_events(1, 3);  // before anybody wanted to hear of it
    fs::rename(state("events.jsonl"), state("aside"));
    fs::create_symlink("aside", state("events.jsonl"));
    {
        ServiceProcess hooks;
        ASSERT_TRUE(hooks.says("events.jsonl: not a regular file\n"));
        fs::rename(state("aside"), state("events.jsonl"));
        ASSERT_TRUE(hooks.says("beginning behind event 3\n"));
        append_events(4, 6);
        append("no event\n" + std::string(70'000, 'x') + '\n' + R"({"seq":"7"})" + '\n');
        append(line(7).substr(0, 40));
        EXPECT_TRUE(seen(numbers(4, 6)));
        fs::resize_file(state("events.jsonl"), fs::file_size(state("events.jsonl")) - 40);
        append_events(7, 8);
        EXPECT_TRUE(seen(numbers(4, 8)));
        EXPECT_EQ(hooks.finish(SIGKILL), 128 + SIGKILL);
    }
    append_events(9, 10);
    rotate();
    append_events(11, 12);
    ServiceProcess hooks;
    EXPECT_TRUE(seen(numbers(4, 12)));
    for (int first = 13; first < 33; first += 2) {  // renamed while it is read, twice at times
        append_events(first, first + 1);
        EXPECT_TRUE(first % 3 != 0 || seen(numbers(4, first + 1)));
        if (first % 4 == 1) rotate();
    }
    EXPECT_TRUE(seen(numbers(4, 32)));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    const double before = hooks.cpu_seconds();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_EQ(hooks.cpu_seconds(), before);
    fs::remove(state("events.jsonl"));
    append_events(1, 2);
    EXPECT_TRUE(hooks.says("the log begins again"));
    EXPECT_TRUE(seen(numbers(4, 32) + numbers(1, 2)));
}

TEST(Hooks, WhatWasInterruptedIsToldAndTheOthersStillRun) {
    make_hook("10-first", "echo first $ZEL_SEQ >>$out/seen");
    make_hook("20-kills", "echo killer $ZEL_SEQ >>$out/seen; kill -9 $PPID; exec sleep 100");
    make_hook("30-last.sh", "echo last $ZEL_SEQ >>$out/seen");
    append("");
    ServiceProcess killed;
    ASSERT_TRUE(killed.says("beginning behind event 0\n"));
    append_events(1, 2);
    EXPECT_EQ(killed.finish(), 128 + SIGKILL);
    fs::remove(home("alert.d/20-kills"));
    ServiceProcess hooks;
    EXPECT_TRUE(hooks.says("20-kills, event 1: interrupted, not run again\n"));
    EXPECT_TRUE(seen("first 1\nkiller 1\nlast 1\nfirst 2\nlast 2\n"));
}

TEST(Hooks, OnlyTrustedHooksRunWithWhatTheyNeedAndNoLonger) {
    write_text(home("agent.conf"), "[hooks]\ntimeout=1\n");
    make_hook("10-hangs",
              "trap '' TERM\n(trap '' TERM HUP; setsid sh -c 'trap \"\" TERM; echo $$ >'$out'/orphan; "
              "while :; do sleep 0.1; done' & )\nwhile :; do sleep 0.1; done");
    make_hook("20-fails",
              "i=0; while [ $i -lt 99 ]; do i=$((i+1)); printf 'x\\033[31m%s\\n' $i; done; exit 3");
    make_hook("30-others", "echo bad >>$out/seen", 0777);
    make_hook("40.dpkg-old", "echo bad >>$out/seen");
    make_hook("50-plain", "echo bad >>$out/seen", 0644);
    make_hook("90-seen",
              "cat >>$out/seen; env | grep -c . >>$out/seen; env | grep '^ZEL_MESSAGE' >>$out/seen");
    append("");
    ServiceProcess hooks;
    ASSERT_TRUE(hooks.says("beginning behind event 0\n"));
    append(line(1));
    EXPECT_TRUE(hooks.says("10-hangs, event 1: not done after 1 s; what was left of it is killed\n"));
    const pid_t orphan = std::atoi(read_text(state("orphan")).c_str());
    EXPECT_TRUE(orphan > 0 && kill(orphan, 0) != 0);
    EXPECT_TRUE(
        hooks.says("20-fails: x\\x1b[31m40\n20-fails: more output is left out\n20-fails, event 1: ended with "
                   "status 3\n"));
    EXPECT_TRUE(hooks.says("30-others can be written by others"));
    EXPECT_TRUE(seen(line(1) + "16\nZEL_MESSAGE=a\\x00b\\nTo: c\n")) << read_text(state("seen"));
    chmod(home("alert.d").c_str(), 0777);
    fs::remove(home("alert.d/10-hangs"));
    append(line(2));
    EXPECT_TRUE(hooks.says("alert.d can be written by others"));
    EXPECT_EQ(read_text(state("seen")).find("\"seq\":2"), std::string::npos);
}

}  // namespace
}  // namespace zel::test
