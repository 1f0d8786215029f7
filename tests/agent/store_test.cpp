// SPDX-License-Identifier: GPL-3.0-or-later
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>

#include "home.h"
#include "store/key_file.h"

namespace {

using namespace zel::store;
using namespace zel::test;
using namespace std::string_literals;

std::string file_path() {
    return state_dir() + "/settings.conf";
}

Status put(const std::string& key, std::int64_t value) {
    return update_key_file(file_path(), [&](KeyFile& file) { return file.set_int("numbers", key, value); });
}

TEST(KeyFile, EveryAcceptedValueComesBackAndOthersChangeNothing) {
    KeyFile file;
    for (const auto& value :
         {""s, "  lead"s, "trail "s, "two\nlines\r\n"s, "b\\s\n\\"s, "[g]"s, "#=;\xC3\xA4"s}) {
        KeyFile again;
        ASSERT_TRUE(file.set("g/ x", "k", value) && again.parse(file.serialise()));
        EXPECT_EQ(again.get("g/ x", "k"), value);
    }
    const std::string text = file.serialise();
    for (const auto& bad : {"\x01"s, "a\0b"s, "\xC3"s})
        EXPECT_FALSE(file.set(bad, "k", "v") || file.set("g", bad, "v") || file.set("g", "k", bad)) << bad;
    for (const auto& key : {""s, "a]"s, "#k"s, " k"s, "k "s, "k=v"s})
        EXPECT_FALSE(file.set("g", key, "v")) << key;
    EXPECT_EQ(file.serialise(), text);
    for (const char* number : {"9223372036854775808", "0x10000000000000000", "-", "0x", "--1", "1 "})
        EXPECT_EQ(parse_int(number), std::nullopt) << number;
}

TEST(KeyFile, WritersOfSeveralProcessesLoseNothing) {
    EXPECT_TRUE(run_processes(3, [] {
        int failed = 0;
        for (int i = 0; i < 100; ++i) {
            const Status status = update_key_file(file_path(), [](KeyFile& file) {
                return file.set_int("g", "count", file.get_int("g", "count").value_or(0) + 1);
            });
            failed += status != Status::ok ? 1 : 0;
        }
        return failed;
    }));
    EXPECT_NE(read_text(file_path()).find("count=300\n"), std::string::npos);
}

TEST(KeyFile, AKilledWriterLeavesTheOldOrTheNewFile) {
    const std::string padding(100'000, 'x');
    for (unsigned round = 0; round < 40; ++round) {
        ASSERT_EQ(put("start", round), Status::ok);
        const pid_t writer = start_process([&, i = std::int64_t{0}]() mutable {
            const auto both = [&](KeyFile& file) {
                return file.set_int("g", "a", ++i) && file.set("g", "padding", padding) &&
                       file.set_int("g", "b", i);
            };
            while (update_key_file(file_path(), both) == Status::ok)
                continue;
            return 0;
        });
        usleep(500 + round * 211);
        kill(writer, SIGKILL);
        EXPECT_EQ(finish_process(writer), 128 + SIGKILL);
        KeyFile file;
        ASSERT_EQ(read_key_file(file_path(), file), Status::ok);
        EXPECT_EQ(file.get_int("numbers", "start"), round);
        EXPECT_EQ(file.get_int("g", "a"), file.get_int("g", "b"));
    }
    write_text(file_path() + ".tmp.999999999.0", "of a process that is gone");
    ASSERT_EQ(put("start", 0), Status::ok);
    EXPECT_TRUE(state_files(".tmp.").empty());
}

TEST(KeyFile, AFailedWriteLeavesTheFileAsItWas) {
    ASSERT_EQ(put("a", 1), Status::ok);
    const std::string before = read_text(file_path());
    for (const int expected : {EFBIG, EACCES}) {
        EXPECT_EQ(finish_process(start_process([&] {
                      const rlimit limit{.rlim_cur = 4, .rlim_max = 4};
                      if (expected == EFBIG) setrlimit(RLIMIT_FSIZE, &limit);
                      signal(SIGXFSZ, SIG_IGN);
                      if (expected == EACCES) chmod(state_dir().c_str(), 0555);
                      if (expected == EACCES && geteuid() == 0 && setuid(65534) != 0) return 1;
                      return put("b", 2) == Status::failed && errno == expected ? 0 : 2;
                  })),
                  0);
        EXPECT_EQ(read_text(file_path()), before);
        EXPECT_TRUE(state_files(".tmp.").empty());
    }
    fs::permissions(state_dir(), fs::perms(0700));
}

TEST(KeyFile, ACorruptFileIsKeptAside) {
    for (const auto& text : {"no group"s, "[g]\na=1\0\n"s, std::string((16U << 20U) + 1, '#')}) {
        write_text(file_path(), text);
        KeyFile file;
        EXPECT_EQ(read_key_file(file_path(), file), Status::corrupt);
        EXPECT_EQ(read_text(file_path()), text);
        ASSERT_EQ(put("a", 1), Status::ok);
        EXPECT_EQ(read_key_file(file_path(), file), Status::ok);
        EXPECT_EQ(std::ranges::count(state_files("settings.conf.corrupt-"), text, read_text), 1);
    }
}

}  // namespace
