// SPDX-License-Identifier: GPL-3.0-or-later
#include "store/registry.h"

#include <array>

#include "home.h"
#include "zel/win32.h"

namespace {

using namespace zel::test;
using namespace std::string_view_literals;
using zel::store::Status;
namespace registry = zel::store::registry;

HKEY create(const char* path, uint32_t* disposition = nullptr) {
    HKEY key = nullptr;
    EXPECT_EQ(RegCreateKeyEx(HKEY_LOCAL_MACHINE, path, 0, "", 0, KEY_ALL_ACCESS, nullptr, &key, disposition),
              0);
    return key;
}

int32_t set(HKEY key, const char* name, uint32_t type, std::string_view bytes) {
    return RegSetValueEx(key, name, 0, type, reinterpret_cast<const uint8_t*>(bytes.data()),
                         static_cast<uint32_t>(bytes.size()));
}

int32_t query(HKEY key) {
    return RegQueryValueEx(key, "x", nullptr, nullptr, nullptr, nullptr);
}

TEST(Registry, NamesCompareWithoutCaseAndTheLastOfDoubledOnesCounts) {
    const registry::Entry first{"Version", "4.1"};
    ASSERT_EQ(registry::set("\\Software\\\\Agent/", {&first, 1}), Status::ok);
    const std::array<registry::Entry, 2> more{{{"VERSION", "4.2"}, {"Mask", registry::Binary{0, 0xAB}}}};
    ASSERT_EQ(registry::set("SOFTWARE/agent", more), Status::ok);
    EXPECT_EQ(read_text(registry::path()), "[Software/Agent]\nVersion=sz:4.2\nMask=binary:00ab\n");
    EXPECT_EQ(registry::get("software\\AGENT", "version"), registry::Value("4.2"));
    EXPECT_TRUE(registry::key_exists("SOFTWARE") && !registry::key_exists("SOFT"));

    write_text(registry::path(), "[A\\B]\nx=dword:1\nX=dword:2\n\n[a/b]\nz=dword:4294967296\n");
    EXPECT_EQ(registry::get_dword("a/b", "x"), 2U);
    EXPECT_EQ(registry::get("a/b", "z"), std::nullopt);
    const std::array<registry::Entry, 2> values{{{"x", 3U}, {"new", 5U}}};
    ASSERT_EQ(registry::set("a/b", values), Status::ok);
    EXPECT_EQ(read_text(registry::path()),
              "[A\\B]\nx=dword:1\nX=dword:3\n\n[a/b]\nz=dword:4294967296\nnew=dword:5\n");
}

TEST(Registry, AValueThatCannotStandLeavesAllAsTheyWere) {
    const std::array<registry::Entry, 2> values{{{"good", 1U}, {"bad[", 2U}}};
    EXPECT_EQ(registry::set("a", values), Status::failed);
    EXPECT_FALSE(registry::key_exists("a"));
    HKEY key = create("a");
    EXPECT_EQ(set(key, "text", REG_SZ, "\xFF"), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(set(key, "number", REG_DWORD, "123"), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(set(key, "type", 7, "1234"), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(read_text(registry::path()), "[a]\n");
}

TEST(Registry, SizesAreThoseOfTheWin32Calls) {
    struct Case {
        uint32_t type;
        std::string_view written, read;
    };
    HKEY key = create("SOFTWARE\\QUD");
    for (const Case& c : {Case{REG_SZ, "4.1\0rest"sv, "4.1\0"sv}, Case{REG_SZ, "4.1"sv, "4.1\0"sv},
                          Case{REG_SZ, ""sv, "\0"sv}, Case{REG_DWORD, "\x2C\x01\0\xFF"sv, "\x2C\x01\0\xFF"sv},
                          Case{REG_BINARY, "\0\x01\xFE"sv, "\0\x01\xFE"sv}}) {
        ASSERT_EQ(set(key, "Value", c.type, c.written), ERROR_SUCCESS);
        const auto needed = static_cast<uint32_t>(c.read.size());
        for (uint32_t room = 0; room <= needed + 1; ++room) {
            std::string data(8, '#');
            uint32_t type = 0;
            uint32_t size = room;
            EXPECT_EQ(
                RegQueryValueEx(key, "VALUE", nullptr, &type, reinterpret_cast<uint8_t*>(data.data()), &size),
                room < needed ? ERROR_MORE_DATA : ERROR_SUCCESS);
            EXPECT_EQ(type, c.type);
            EXPECT_EQ(size, needed);
            const std::string_view got = room < needed ? ""sv : c.read;
            EXPECT_EQ(data, std::string(got).append(8 - got.size(), '#'));
        }
        uint32_t size = 0;
        EXPECT_EQ(RegQueryValueEx(key, "Value", nullptr, nullptr, nullptr, &size), ERROR_SUCCESS);
        EXPECT_EQ(size, needed);
    }
}

TEST(Registry, WrongHandlesAndMissingThingsAreTold) {
    uint32_t disposition = 0;
    HKEY key = create("a/b", &disposition);
    EXPECT_EQ(disposition, REG_CREATED_NEW_KEY);
    HKEY closed = create("A\\B", &disposition);
    EXPECT_EQ(disposition, REG_OPENED_EXISTING_KEY);
    EXPECT_EQ(RegOpenKeyEx(key, "c", 0, 0, &key), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(query(key), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(RegCloseKey(closed), ERROR_SUCCESS);
    for (HKEY wrong : {closed, HKEY{}, static_cast<HKEY>(&closed), CreateEvent(nullptr, 0, 0, nullptr)}) {
        for (const int32_t result : {RegOpenKeyEx(wrong, "a", 0, 0, &key), query(wrong),
                                     set(wrong, "x", REG_SZ, ""), RegCloseKey(wrong)})
            EXPECT_EQ(result, ERROR_INVALID_HANDLE);
    }
    write_text(registry::path(), "broken");
    EXPECT_EQ(query(key), ERROR_BADDB);
    EXPECT_EQ(set(key, "x", REG_SZ, "new"), ERROR_SUCCESS);
    EXPECT_EQ(query(key), ERROR_SUCCESS);
}

TEST(Registry, AFileCutOffAnywhereIsReadOrKept) {
    const std::string whole = "# by hand\n[a/b]\nx=dword:300\ny=sz:two\\nlines\n\n[c]\nz=binary:0a0b\n";
    const registry::Entry entry{"new", 1U};
    for (std::size_t length = 0; length < whole.size(); ++length) {
        const std::string text = whole.substr(0, length);
        write_text(registry::path(), text);
        const bool readable = registry::check() == Status::ok;
        const auto x = registry::get("a/b", "x");
        ASSERT_EQ(registry::set("d", {&entry, 1}), Status::ok) << length;
        EXPECT_EQ(registry::get_dword("d", "new"), 1U);
        EXPECT_EQ(registry::get("a/b", "x"), x);
        const std::vector<std::string> aside = state_files("corrupt-");
        ASSERT_EQ(aside.size(), readable ? 0U : 1U) << length;
        if (readable) continue;
        EXPECT_EQ(read_text(aside[0]), text);
        std::filesystem::remove(aside[0]);
    }
}

TEST(Registry, AChangeOfTheSameSizeIsSeenAtOnce) {
    for (unsigned i = 0; i < 100; ++i) {
        const std::string text = "[a]\nx=dword:" + std::to_string(i % 10) + "\n";
        write_text(registry::path(), text);
        ASSERT_EQ(registry::get_dword("a", "x"), i % 10);
    }
}

}  // namespace
