// SPDX-License-Identifier: GPL-3.0-or-later
// libzelsmbios and dissensor.dll on firmware tables made here, whole and damaged.
#include "zel/smbios.h"

#include <dlfcn.h>

#include <numeric>

#include "home.h"
#include "smbios/tables.h"
#include "zel/sensorshare.h"

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
constexpr std::size_t kFirstChassis = 13;
constexpr std::size_t kChassisSize = 12;

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

std::string make_entry_3(std::size_t length, std::size_t own_length = 24) {
    return with_sum("_SM3_\0"s + static_cast<char>(own_length) + "\3\2\0\1\0"s + little_endian(length, 4) +
                        std::string(8, '\0'),
                    5);
}

/// Makes these the machine's tables.
void install(const std::string& entry, const std::string& table) {
    write_text(store::config_file(), "[hardware]\nsmbios_tables=" + store::state_dir() + '\n');
    write_text(state("smbios_entry_point"), entry);
    write_text(state("DMI"), table);
}

TEST(Smbios, ChassisTypesAreTold) {
    // None in the agent's directory: the one that the dynamic loader knows by its name.
    ASSERT_NE(::dlopen(SMBIOS_LIBRARY, RTLD_NOW), nullptr) << ::dlerror();
    SmbiosTable library{};
    ASSERT_EQ(load_libzelsmbios(&library), 1);
    install("", "");
    EXPECT_NE(library.initialise(), 0);
    const std::string table = make_table("\x1D\x9C\x03");
    for (const std::string& entry : {make_entry_2(table.size(), 5), make_entry_3(table.size())}) {
        install(entry, table);
        ASSERT_EQ(library.initialise(), 0);
        SmbiosCountRequest count{3, 0, 99};
        EXPECT_EQ(library.request(GET_STRUCTURE_NUMBER, &count), 0);
        EXPECT_EQ(std::uint16_t{count.number}, 3);
        SmbiosStructRequest request{};
        request.type = 3;
        std::string codes;
        for (; library.request(GET_STRUCTURE_TYPE_AND_OFFSET, &request) == 0;
             request.number = static_cast<std::uint16_t>(request.number + 1))
            codes += std::string(request.code, 2) + ' ';
        EXPECT_EQ(codes, "00 FE 00 ");
        request = {};  // the BIOS structure is there, but only a chassis has a code
        EXPECT_EQ(library.request(GET_STRUCTURE_TYPE_AND_OFFSET, &request), -1);
        EXPECT_EQ(library.request(0, &count), -1);
        library.close();
        EXPECT_EQ(library.request(GET_STRUCTURE_NUMBER, &count), -1);
    }
    install(make_entry_3(0xFFFFFFFF), table + std::string(1U << 20U, '\0'));
    EXPECT_NE(library.initialise(), 0);  // larger than any firmware's
    destroy_libzelsmbios(&library);
}

/// How many chassis are read; -1 when the tables are refused.
int chassis(const std::string& entry, const std::string& table) {
    const std::vector<std::uint8_t> entry_bytes(entry.begin(), entry.end());
    const auto tables = smbios::Tables::parse(entry_bytes, {table.begin(), table.end()});
    return tables ? static_cast<int>(tables->count(smbios::kChassis)) : -1;
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
        for (std::size_t i = 0; i < table.size() * 256; ++i) {
            std::string damaged = table;
            damaged[i / 256] = static_cast<char>(i % 256);
            EXPECT_LE(chassis(entry, damaged), 3);
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
    for (const std::size_t own_length : {0, 23, 25, 255})
        EXPECT_EQ(chassis(make_entry_3(table.size(), own_length), table), -1) << own_length;
}

TEST(Smbios, SharedSensorStateIsKeptOnBladesOnly) {
    void* const library = ::dlopen(SENSORSHARE_LIBRARY, RTLD_NOW);
    const auto status = reinterpret_cast<GetSharedSensorStatusFn>(::dlsym(library, "GetSharedSensorStatus"));
    const auto enable = reinterpret_cast<EnableSharedSensorFn>(::dlsym(library, "EnableSharedSensor"));
    const auto disable = reinterpret_cast<DisableSharedSensorFn>(::dlsym(library, "DisableSharedSensor"));
    ASSERT_TRUE(status && enable && disable);
    const std::string rack = make_table("\x11\x1D"), blade = make_table("\x1D\x1C");
    install("", "");
    EXPECT_EQ(status(), -3);
    install(make_entry_3(rack.size()), rack);
    EXPECT_EQ(enable(-1), -3);
    install(make_entry_3(blade.size()), blade);
    EXPECT_EQ(status(), 0);
    EXPECT_EQ(enable(-1), 1);
    fs::remove(state("registry.conf.lock"));
    fs::create_directory(state("registry.conf.lock"));  // no writer gets by
    EXPECT_EQ(disable(-1), 1);
    EXPECT_EQ(status(), 1);
    fs::remove(state("registry.conf.lock"));
    EXPECT_EQ(disable(-1), 0);
    write_text(state("registry.conf"), "no key file");
    EXPECT_EQ(enable(-1), -2);
    ::dlclose(library);
}

}  // namespace
}  // namespace zel::test
