// SPDX-License-Identifier: GPL-3.0-or-later
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "home.h"
#include "store/key_file.h"

namespace {

using namespace zel::store;
using namespace zel::test;
using namespace std::string_literals;

std::string file_path() {
    return settings_folder() + "/settings.conf";
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

// The installed service may read the settings by its group, whoever writes them with whatever umask.
TEST(KeyFile, IsSharedWithTheGroupThatItsFolderIsSharedWith) {
    const gid_t group = geteuid() == 0 ? 65534 : getegid();
    const mode_t former = umask(077);
    ASSERT_EQ(chown(settings_folder().c_str(), static_cast<uid_t>(-1), group), 0);
    for (const auto& [folder, file] : {std::pair(0750U, 0640U), {0700U, 0600U}, {0755U, 0600U}}) {
        ASSERT_EQ(chmod(settings_folder().c_str(), folder), 0);
        ASSERT_EQ(put("a", folder), Status::ok);
        struct stat info {};
        ASSERT_EQ(stat(file_path().c_str(), &info), 0);
        EXPECT_EQ(info.st_mode & 07777, file);
        EXPECT_EQ(info.st_gid, file == 0640 ? group : getegid());
        ASSERT_EQ(stat((file_path() + ".lock").c_str(), &info), 0);
        EXPECT_EQ(info.st_mode & 07777, 0600U);
    }
    umask(former);
    ASSERT_EQ(chmod(settings_folder().c_str(), 0700), 0);
}

}  // namespace
