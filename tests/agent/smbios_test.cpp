// SPDX-License-Identifier: GPL-3.0-or-later
// Firmware tables made here, whole and damaged.
#include <numeric>

#include "home.h"
#include "system/smbios_tables.h"

namespace zel::test {
namespace {

using namespace std::string_literals;

/// A BIOS structure with strings, a chassis of each type given, and the end of the table.
std::string make_table(const std::string& chassis) {
    std::string table = "\0\6\1\0\1\2QUD\0004\0\0"s;
    for (const char type : chassis)
        table += "\3\x09\2\0\1"s + type + "\0\0\0C\0\0"s;
    return table + "\177\4\3\0\0\0"s;
}
constexpr std::size_t kFirstChassis = 13, kChassisSize = 12;

std::string little_endian(std::size_t value, int bytes) {
    std::string text;
    for (; bytes > 0; --bytes, value >>= 8U)
        text += static_cast<char>(value & 255U);
    return text;
}

std::string with_sum(std::string entry, std::size_t at) {
    entry[at] = static_cast<char>(entry[at] - std::accumulate(entry.begin(), entry.end(), 0));
    return entry;
}

std::string make_entry_2(std::size_t length, std::size_t count) {
    const std::string inner =
        with_sum("_DMI_\0"s + little_endian(length, 2) + "\0\0\0\0"s + little_endian(count, 2) + '\x28', 5);
    return with_sum("_SM_\0\37\2\10\0\1\0\0\0\0\0\0"s + inner, 4);
}

std::string make_entry_3(std::size_t length) {
    return with_sum("_SM3_\0\30\3\2\0\1\0"s + little_endian(length, 4) + std::string(8, '\0'), 5);
}

/// How many chassis are read; -1 when the tables are refused.
int chassis(const std::string& entry, const std::string& table) {
    const std::vector<std::uint8_t> entry_bytes(entry.begin(), entry.end());
    const auto tables = system::Tables::parse(entry_bytes, {table.begin(), table.end()});
    return tables ? static_cast<int>(tables->count(system::kChassis)) : -1;
}

TEST(Smbios, DamageIsNeverReadOver) {
    const std::string table = make_table("\x11\x1C");
    for (const std::string& entry : {make_entry_2(table.size(), 4), make_entry_3(table.size())}) {
        for (std::size_t size = 0; size <= table.size(); ++size) {
            const int whole = static_cast<int>((size - kFirstChassis) / kChassisSize);
            EXPECT_EQ(chassis(entry, table.substr(0, size)), size < kFirstChassis ? -1 : std::min(2, whole));
        }
        for (std::size_t at = 0; at < entry.size(); ++at) {
            std::string wrong = entry;  // no checksum is right any more
            ++wrong[at];
            EXPECT_EQ(chassis(wrong, table), -1) << "byte " << at;
            EXPECT_EQ(chassis(entry.substr(0, at), table), -1) << "size " << at;
        }
        for (const int length : {0, 3, 23, 255}) {
            std::string lying = table;
            lying[kFirstChassis + kChassisSize + 1] = static_cast<char>(length);
            EXPECT_EQ(chassis(entry, lying), 1) << length;
        }
    }
    EXPECT_EQ(chassis(make_entry_3(0xFFFFFFFF), table), 2);
    EXPECT_EQ(chassis(make_entry_2(0xFFFF, 0xFFFF), table), 2);
    EXPECT_EQ(chassis(make_entry_2(table.size(), 2), table), 1);
    EXPECT_EQ(chassis(make_entry_3(kFirstChassis + 1), table), 0);
}

}  // namespace
}  // namespace zel::test
