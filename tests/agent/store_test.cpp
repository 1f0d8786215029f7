// SPDX-License-Identifier: GPL-3.0-or-later
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "base/trusted_folder.h"
#include "home.h"
#include "store/key_file_read.h"
#include "zel/tracelog.h"
#include "zel/win32.h"

namespace {

using namespace zel::base;
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

std::string many(int count, const std::string& text) {
    std::string all;
    for (int i = 0; i < count; ++i)
        all += text.substr(0, 2) + std::to_string(i) + text.substr(2);
    return all;
}

TEST(KeyFile, ACorruptOrTooLargeFileIsKeptAside) {
    for (const auto& text :
         {"no group"s, "[g]\na=1\0\n"s, std::string(kMaxKeyFileSize + 1, '#'),
          many(kMaxKeyFileGroups + 1, " [g]\n"), "[g]\n" + many(kMaxKeyFileLines, "k=\n")}) {
        write_text(file_path(), text);
        KeyFile file;
        EXPECT_EQ(read_key_file(file_path(), file), Status::corrupt);
        EXPECT_EQ(read_text(file_path()), text);
        ASSERT_EQ(put("a", 1), Status::ok);
        EXPECT_EQ(read_key_file(file_path(), file), Status::ok);
        EXPECT_EQ(std::ranges::count(state_files("settings.conf.corrupt-"), text, read_text), 1);
    }
    // The largest that is read can be changed but not grown.
    const std::string largest = "[numbers]\na=1\n" + many(kMaxKeyFileGroups - 1, "[g]\n");
    write_text(file_path(), largest);
    EXPECT_EQ(put("a", 2), Status::ok);
    EXPECT_EQ(update_key_file(file_path(), [](KeyFile& file) { return file.add_group("more"); }),
              Status::failed);
    EXPECT_EQ(read_text(file_path()).size(), largest.size());
}

TEST(OwnFolder, NoLinkLeadsAWriterElsewhere) {
    fs::create_directories(state("log"));
    fs::rename(state("log"), home("log"));  // which the process may be writing to
    const std::string folder = home("victim"), file = folder + "/file";
    for (const std::string name : {"log", "events", "settings.conf", "settings.conf.lock"}) {
        fs::create_directory(folder);
        write_text(file, "[numbers]\n");
        const bool is_setting = name.starts_with("settings");
        fs::remove(state(name));
        fs::create_symlink(is_setting ? file : folder, state(name));
        EXPECT_EQ(put("a", 1), is_setting ? Status::failed : Status::ok) << name;
        EXPECT_EQ(CreateEvent(nullptr, 0, 0, "an-event") == nullptr, name == "events");
        EXPECT_TRUE(run_processes(
            1, [&] { return TraceLogInit(0, "link", 0, 5, 0) == (name == "log" ? -1 : 0) ? 0 : 1; }));
        EXPECT_EQ(read_text(file), "[numbers]\n") << name;
        EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 1) << name;
        fs::remove_all(folder);
        fs::remove(state(name));
        fs::remove_all(state("log"));
        fs::remove_all(state("events"));
    }
    fs::rename(home("log"), state("log"));
}

/// What a path leads to when it is trusted, below the folder of the test; the reason when it is not.
std::string judge(const std::string& name) {
    std::string fault;
    const auto path = trusted_path(home("tree/" + name), fault);
    return path ? path->substr(home("tree/").size()) : fault.substr(std::min(fault.find(' '), fault.size()));
}

TEST(TrustedPath, IsOneThatNobodyElseCanTurn) {
    for (const auto& [name, mode] : {std::pair("own", 0755), {"open", 0775}, {"sticky", 01777}}) {
        fs::create_directories(home("tree/") + name + "/in");
        fs::permissions(home("tree/") + name, fs::perms(mode));
    }
    for (const auto& [name, target] : {std::pair("good", "./own/../own//in"),
                                       {"around", "open/../own"},
                                       {"far", "/tmp"},
                                       {"loop", "loop"}})
        fs::create_symlink(target, home("tree/") + name);
    const std::string others = " can be written by others";
    Strings paths{"own",    "own/in/",  "sticky/in",    "good",   "own/../good", "open", "open/in",
                  "sticky", "sticky/.", "sticky/in/..", "around", "far",         "loop", "own/none"};
    Strings expected{"own",  "own/in", "sticky/in", "own/in", "own/in", others,           others,
                     others, others,   others,      others,   others,   " leads nowhere", " does not exist"};
    if (geteuid() == 0) {
        for (const std::string name : {"sticky/hers", "own/hers"}) {
            fs::create_symlink(home("tree/own"), home("tree/" + name));
            ASSERT_EQ(lchown(home("tree/" + name).c_str(), 65534, 0), 0);
            paths.push_back(name);
            expected.emplace_back(" belongs to another user");
        }
    }
    Strings judged;
    std::ranges::transform(paths, std::back_inserter(judged), judge);
    EXPECT_EQ(judged, expected);

    const std::string before = getenv("ZelDir");
    for (const std::string link : {"own", "open", "gone"}) {
        fs::remove(home("tree/own/lib"));
        fs::create_symlink(home("tree/" + link + "/in"), home("tree/own/lib"));
        setenv("ZelDir", home("tree/own").c_str(), 1);
        testing::internal::CaptureStderr();
        EXPECT_EQ(agent_dir_of_environment().has_value(), link == "own");
        EXPECT_EQ(getenv("ZelDir") != nullptr, link == "own");
        EXPECT_EQ(testing::internal::GetCapturedStderr().starts_with("ZelDir is ignored: /"), link != "own");
    }
    setenv("ZelDir", before.c_str(), 1);
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
