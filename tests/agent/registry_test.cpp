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

HKEY create(const char* path) {
    HKEY key = nullptr;
    EXPECT_EQ(RegCreateKeyEx(HKEY_LOCAL_MACHINE, path, 0, "", 0, KEY_ALL_ACCESS, nullptr, &key, nullptr), 0);
    return key;
}

int32_t set(HKEY key, const char* name, uint32_t type, std::string_view bytes) {
    return RegSetValueEx(key, name, 0, type, reinterpret_cast<const uint8_t*>(bytes.data()),
                         static_cast<uint32_t>(bytes.size()));
}

TEST(Registry, NamesCompareWithoutCaseAndTheLastOfDoubledOnesCounts) {
    write_text(registry::path(), "[A\\B]\nx=dword:1\nX=dword:2\n\n[a/b]\nz=dword:4294967296\n");
    EXPECT_EQ(registry::get_dword("\\a//B/", "x"), 2U);
    EXPECT_EQ(registry::get("a/b", "z"), std::nullopt);
    const std::array<registry::Entry, 2> values{{{"x", 3U}, {"new", registry::Binary{0, 0xAB}}}};
    ASSERT_EQ(registry::set("a/b", values), Status::ok);
    const std::string text = "[A\\B]\nx=dword:1\nX=dword:3\n\n[a/b]\nz=dword:4294967296\nnew=binary:00ab\n";
    EXPECT_EQ(read_text(registry::path()), text);
    // A value that cannot stand leaves all as they were.
    const std::array<registry::Entry, 2> bad{{{"good", 1U}, {"bad[", 2U}}};
    EXPECT_EQ(registry::set("a", bad), Status::failed);
    EXPECT_EQ(set(create("a/b"), "text", REG_SZ, "\xFF"), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(set(create("a/b"), "type", 7, "1234"), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(read_text(registry::path()), text);
}

TEST(Registry, AChangeReadsAndWritesManyKeysUnderOneLock) {
    write_text(registry::path(), "[A\\B]\nx=dword:1\n\n[a/b]\nX=dword:2\n");
    const auto edit = [](registry::Edit& file) {
        return file.get("A/B", "x") == registry::Value(2U) && file.set("a\\B", "x", 3U) &&
               file.set("C\\D", "y", 6U) && file.count("c/d", "Y");
    };
    EXPECT_EQ(registry::change(edit), Status::ok);
    EXPECT_EQ(read_text(registry::path()), "[A\\B]\nx=dword:1\n\n[a/b]\nX=dword:3\n\n[C/D]\ny=dword:7\n");
}

TEST(Registry, SizesAreThoseOfTheWin32Calls) {
    using Case = std::tuple<uint32_t, std::string_view, std::string_view>;
    HKEY key = create("SOFTWARE\\QUD");
    for (const auto& [kind, written, read] :
         {Case{REG_SZ, "4.1\0rest"sv, "4.1\0"sv}, Case{REG_SZ, "4.1"sv, "4.1\0"sv},
          Case{REG_SZ, ""sv, "\0"sv}, Case{REG_DWORD, "\x2C\x01\0\xFF"sv, "\x2C\x01\0\xFF"sv},
          Case{REG_BINARY, "\0\x01\xFE"sv, "\0\x01\xFE"sv}}) {
        ASSERT_EQ(set(key, "Value", kind, written), ERROR_SUCCESS);
        const auto needed = static_cast<uint32_t>(read.size());
        for (uint32_t room = 0; room <= needed + 1; ++room) {
            std::string data(8, '#');
            uint32_t type = 0;
            uint32_t size = room;
            EXPECT_EQ(
                RegQueryValueEx(key, "VALUE", nullptr, &type, reinterpret_cast<uint8_t*>(data.data()), &size),
                room < needed ? ERROR_MORE_DATA : ERROR_SUCCESS);
            EXPECT_EQ(type, kind);
            EXPECT_EQ(size, needed);
            const std::string_view got = room < needed ? ""sv : read;
            EXPECT_EQ(data, std::string(got).append(8 - got.size(), '#'));
        }
    }
}

}  // namespace
