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
         {""s, "  lead"s, "trail "s, "\t"s, "two\nlines\r\n"s, "b\\s\n\\"s, "[g]"s, "#=;\xC3\xA4"s}) {
        ASSERT_TRUE(file.set("g/ x", "k", value));
        KeyFile again;
        ASSERT_TRUE(again.parse(file.serialise()));
        EXPECT_EQ(again.get("g/ x", "k"), value);
    }
    const std::string text = file.serialise();
    for (const auto& name : {""s, "a]"s, "a\nb"s, "\xFF"s, "a\0b"s})
        EXPECT_FALSE(file.set(name, "k", "v") || file.set("g", name, "v")) << name;
    for (const auto& key : {"#k"s, " k"s, "k "s, "k=v"s, "Encoding"s})
        EXPECT_FALSE(file.set("g", key, "v")) << key;
    for (const auto& value : {"\x01"s, "a\0b"s, "\xC3"s})
        EXPECT_FALSE(file.set("g", "k", value)) << value;
    EXPECT_EQ(file.serialise(), text);
}

TEST(KeyFile, AnUpdateKeepsWhatItDoesNotTouch) {
    const std::string text = "# by hand\n\n[g]\n# on a\na=1\nwrong=\\q\nlatin=\xE4\nname[de]=x\n";
    write_text(file_path(), text);
    KeyFile file;
    ASSERT_EQ(read_key_file(file_path(), file), Status::ok);
    EXPECT_EQ(file.get("g", "wrong"), std::nullopt);
    EXPECT_EQ(file.get("g", "latin"), std::nullopt);
    EXPECT_EQ(file.get_int("g", "a"), 1);
    ASSERT_EQ(update_key_file(file_path(), [](KeyFile& f) { return f.set("g", "b", "2"); }), Status::ok);
    EXPECT_EQ(read_text(file_path()), text + "b=2\n");
    EXPECT_EQ(std::filesystem::status(file_path()).permissions(), std::filesystem::perms(0600));
}

TEST(KeyFile, NumbersAreReadWholeOrNotAtAll) {
    EXPECT_EQ(parse_int("+12"), 12);
    EXPECT_EQ(parse_int("-0x10"), -16);
    EXPECT_EQ(parse_int("9223372036854775807"), INT64_MAX);
    EXPECT_EQ(parse_int("-9223372036854775808"), INT64_MIN);
    for (const char* text :
         {"9223372036854775808", "0x10000000000000000", "", "-", "0x", "--1", "1 ", " 1", "12a"}) {
        EXPECT_EQ(parse_int(text), std::nullopt) << text;
    }
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
        const pid_t writer = start_process([&] {
            for (std::int64_t i = 0;; ++i) {
                update_key_file(file_path(), [&](KeyFile& file) {
                    return file.set_int("g", "a", i) && file.set("g", "padding", padding) &&
                           file.set_int("g", "b", i);
                });
            }
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

int make_disk_full() {
    const rlimit limit{.rlim_cur = 4, .rlim_max = 4};
    return signal(SIGXFSZ, SIG_IGN) != SIG_ERR && setrlimit(RLIMIT_FSIZE, &limit) == 0 ? EFBIG : 0;
}

int make_read_only() {
    const bool ready = chmod(agent_dir().c_str(), 0755) == 0 && chmod(state_dir().c_str(), 0555) == 0;
    return ready && (geteuid() != 0 || setuid(65534) == 0) ? EACCES : 0;
}

TEST(KeyFile, AFailedWriteLeavesTheFileAsItWas) {
    ASSERT_EQ(put("a", 1), Status::ok);
    const std::string before = read_text(file_path());
    for (const auto& prepare : {make_disk_full, make_read_only}) {
        const pid_t writer = start_process([&] {
            const int expected = prepare();
            return expected != 0 && put("b", 2) == Status::failed && errno == expected ? 0 : 1;
        });
        EXPECT_EQ(finish_process(writer), 0);
        EXPECT_EQ(read_text(file_path()), before);
        EXPECT_TRUE(state_files(".tmp.").empty());
    }
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
