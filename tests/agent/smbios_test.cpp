// SPDX-License-Identifier: GPL-3.0-or-later
// libzelsmbios and dissensor.dll on firmware tables made here, whole and damaged.
#include "zel/smbios.h"

#include <dlfcn.h>

#include <numeric>

#include "service_home.h"
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

class Smbios : public AgentHome {
  protected:
    void SetUp() override {
        AgentHome::SetUp();
        write_text(store::config_file(), "[hardware]\nsmbios_tables=" + store::state_dir() + '\n');
        // None in the agent's directory: the one that the dynamic loader knows by its name.
        ASSERT_NE(::dlopen(SMBIOS_LIBRARY, RTLD_NOW), nullptr) << ::dlerror();
        ASSERT_EQ(load_libzelsmbios(&library_), 1);
    }
    void TearDown() override { destroy_libzelsmbios(&library_); }

    static void write_tables(const std::string& entry, const std::string& table) {
        write_text(store::state_dir() + "/smbios_entry_point", entry);
        write_text(store::state_dir() + "/DMI", table);
    }

    /// The codes of all chassis, such as "00 FE "; "none" without tables.
    std::string codes() {
        if (library_.initialise() != 0) return "none";
        SmbiosCountRequest count{3, 0, 99};
        SmbiosStructRequest request{};
        request.type = 3;
        std::string result;
        EXPECT_EQ(library_.request(GET_STRUCTURE_NUMBER, &count), 0);
        while (library_.request(GET_STRUCTURE_TYPE_AND_OFFSET, &request) == 0) {
            result += std::string(request.code, 2) + ' ';
            request.number = static_cast<std::uint16_t>(request.number + 1);
        }
        EXPECT_EQ(std::uint16_t{request.number}, count.number);
        request = {};  // the BIOS structure is there, but only a chassis has a code
        EXPECT_EQ(library_.request(GET_STRUCTURE_TYPE_AND_OFFSET, &request), -1);
        EXPECT_EQ(library_.request(GET_STRUCTURE_NUMBER, nullptr), -1);
        EXPECT_EQ(library_.request(0, &count), -1);
        library_.close();
        EXPECT_EQ(library_.request(GET_STRUCTURE_NUMBER, &count), -1);
        return result;
    }

    SmbiosTable library_{};
};

TEST_F(Smbios, ChassisTypesAreTold) {
    EXPECT_EQ(codes(), "none");
    using Case = std::pair<std::string, std::string>;
    for (const auto& [chassis, expected] : {Case{"", ""}, Case{"\x11", "00 "}, Case{"\x1C", "FE "},
                                            Case{"\x9C", "FE "}, Case{"\x1D\x1C\x03", "00 FE 00 "}}) {
        const std::string table = make_table(chassis);
        write_tables(make_entry_2(table.size(), chassis.size() + 2), table);
        EXPECT_EQ(codes(), expected);
        write_tables(make_entry_3(table.size()), table);
        EXPECT_EQ(codes(), expected);
    }
    write_tables(make_entry_3(0xFFFFFFFF), make_table("\x1C") + std::string(1U << 20U, '\0'));
    EXPECT_EQ(codes(), "none");  // larger than any firmware's
}

/// How many chassis are read; -1 when the tables are refused.
int chassis(const std::string& entry, const std::string& table) {
    const std::vector<std::uint8_t> entry_bytes(entry.begin(), entry.end());
    const auto tables = smbios::Tables::parse(entry_bytes, {table.begin(), table.end()});
    return tables ? static_cast<int>(tables->count(smbios::kChassis)) : -1;
}

TEST(SmbiosTables, DamageIsNeverReadOver) {
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
        for (std::size_t at = 0; at < table.size(); ++at) {
            for (int value = 0; value < 256; ++value) {
                std::string damaged = table;
                damaged[at] = static_cast<char>(value);
                EXPECT_LE(chassis(entry, damaged), 3);
            }
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

TEST_F(Smbios, SharedSensorStateIsKeptOnBladesOnly) {
    void* const library = ::dlopen(SENSORSHARE_LIBRARY, RTLD_NOW);
    ASSERT_NE(library, nullptr) << ::dlerror();
    const auto status = reinterpret_cast<GetSharedSensorStatusFn>(::dlsym(library, "GetSharedSensorStatus"));
    const auto enable = reinterpret_cast<EnableSharedSensorFn>(::dlsym(library, "EnableSharedSensor"));
    const auto disable = reinterpret_cast<DisableSharedSensorFn>(::dlsym(library, "DisableSharedSensor"));
    ASSERT_TRUE(status && enable && disable);
    const std::string rack = make_table("\x11\x1D");
    const std::string blade = make_table("\x1D\x1C");

    EXPECT_EQ(status(), -3);  // no tables
    write_tables(make_entry_3(rack.size()), rack);
    EXPECT_EQ(enable(-1), -3);
    write_tables(make_entry_3(blade.size()), blade);
    EXPECT_EQ(status(), 0);
    EXPECT_EQ(enable(-1), 1);
    const std::string lock = store::state_dir() + "/registry.conf.lock";
    fs::remove(lock);
    fs::create_directory(lock);  // no writer gets by
    EXPECT_EQ(disable(-1), 1);
    EXPECT_EQ(status(), 1);
    fs::remove(lock);
    EXPECT_EQ(disable(-1), 0);
    write_registry("no key file");
    EXPECT_EQ(enable(-1), -2);
    EXPECT_TRUE(state_files("corrupt").empty());
    ::dlclose(library);
}

}  // namespace
}  // namespace zel::test
