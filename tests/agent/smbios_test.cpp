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

using Bytes = std::vector<std::uint8_t>;
using smbios::Tables;

void append(Bytes& bytes, const Bytes& more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
}

/// A BIOS structure with strings, a chassis of each type given, and the end of the table.
Bytes make_table(const Bytes& chassis) {
    Bytes table{0, 6, 1, 0, 1, 2, 'Q', 'U', 'D', 0, '4', 0, 0};
    for (const std::uint8_t type : chassis)
        append(table, {3, 9, 2, 0, 1, type, 0, 0, 0, 'C', 0, 0});
    append(table, {127, 4, 3, 0, 0, 0});
    return table;
}

void fix_sum(Bytes& entry, std::size_t from, std::size_t size, std::size_t at) {
    entry[at] = 0;
    const auto first = entry.begin() + static_cast<std::ptrdiff_t>(from);
    entry[at] =
        static_cast<std::uint8_t>(-std::accumulate(first, first + static_cast<std::ptrdiff_t>(size), 0));
}

Bytes make_entry_2(std::size_t length, std::size_t count) {
    const auto low = [](std::size_t value) { return static_cast<std::uint8_t>(value & 255U); };
    Bytes entry{'_', 'S', 'M', '_', 0, 31, 2, 8, 0, 1, 0, 0, 0, 0, 0, 0, '_', 'D', 'M', 'I', '_', 0};
    append(entry, {low(length), low(length >> 8U), 0, 0, 0, 0, low(count), low(count >> 8U), 0x28});
    fix_sum(entry, 16, 15, 21);
    fix_sum(entry, 0, 31, 4);
    return entry;
}

Bytes make_entry_3(std::size_t length) {
    Bytes entry{'_', 'S', 'M', '3', '_', 0, 24, 3, 2, 0, 1, 0};
    for (unsigned shift = 0; shift < 32; shift += 8)
        entry.push_back(static_cast<std::uint8_t>(length >> shift));
    entry.resize(24);
    fix_sum(entry, 0, 24, 5);
    return entry;
}

class Smbios : public AgentHome {
  protected:
    void SetUp() override {
        AgentHome::SetUp();
        write_config("smbios_tables=" + store::state_dir());
        fs::create_symlink(SMBIOS_LIBRARY, store::agent_dir() + "/lib/libzelsmbios.so");
        ASSERT_EQ(load_libzelsmbios(&library_), 1);
    }
    void TearDown() override { destroy_libzelsmbios(&library_); }

    static void write_tables(const Bytes& entry, const Bytes& table) {
        write_text(store::state_dir() + "/smbios_entry_point", {entry.begin(), entry.end()});
        write_text(store::state_dir() + "/DMI", {table.begin(), table.end()});
    }
    static void write_machine(const Bytes& chassis) {
        const Bytes table = make_table(chassis);
        write_tables(make_entry_3(table.size()), table);
    }

    /// The codes of all chassis, such as "00 FE "; "none" without tables.
    std::string codes() {
        if (library_.initialise() != 0) return "none";
        SmbiosCountRequest count{3, 0, 99};
        EXPECT_EQ(library_.request(GET_STRUCTURE_NUMBER, &count), 0);
        SmbiosStructRequest request{};
        request.type = 3;
        std::string result;
        for (; request.number < count.number;
             request.number = static_cast<std::uint16_t>(request.number + 1)) {
            EXPECT_EQ(library_.request(GET_STRUCTURE_TYPE_AND_OFFSET, &request), 0);
            result += std::string(request.code, 2) + ' ';
        }
        EXPECT_EQ(library_.request(GET_STRUCTURE_TYPE_AND_OFFSET, &request), -1);  // one too many
        library_.close();
        return result;
    }

    SmbiosTable library_{};
};

TEST_F(Smbios, ChassisTypesAreTold) {
    EXPECT_EQ(codes(), "none");
    struct Case {
        Bytes chassis;
        const char* codes;
    };
    for (const auto& [chassis, expected] :
         {Case{{}, ""}, Case{{0x11}, "00 "}, Case{{0x1C}, "FE "}, Case{{0x9C}, "FE "}, Case{{0x1D}, "00 "},
          Case{{0x1D, 0x1C, 0x03}, "00 FE 00 "}}) {
        const Bytes table = make_table(chassis);
        write_tables(make_entry_2(table.size(), chassis.size() + 2), table);
        EXPECT_EQ(codes(), expected);
        write_machine(chassis);
        EXPECT_EQ(codes(), expected);
    }
    write_tables(make_entry_3(0xFFFFFFFF), Bytes((1U << 20U) + 1));
    EXPECT_EQ(codes(), "none");  // larger than any firmware's
}

TEST_F(Smbios, OddRequestsAreRefused) {
    SmbiosCountRequest count{3, 0, 99};
    EXPECT_EQ(library_.request(GET_STRUCTURE_NUMBER, &count), -1);  // nothing was initialised
    write_machine({0x1C});
    ASSERT_EQ(library_.initialise(), 0);
    SmbiosStructRequest bios{};
    EXPECT_EQ(library_.request(GET_STRUCTURE_TYPE_AND_OFFSET, &bios), -1);
    EXPECT_EQ(library_.request(GET_STRUCTURE_NUMBER, nullptr), -1);
    EXPECT_EQ(library_.request(0, &count), -1);
    library_.close();
    EXPECT_EQ(library_.request(GET_STRUCTURE_NUMBER, &count), -1);
    EXPECT_EQ(count.number, 99);
}

TEST(SmbiosTables, DamageIsNeverReadOver) {
    const Bytes table = make_table({0x11, 0x1C});
    const std::size_t first_chassis = 13;
    const std::size_t chassis_size = 12;
    const auto chassis_within = [](const Bytes& entry, const Bytes& bytes) {
        const auto tables = Tables::parse(entry, bytes);
        return tables ? static_cast<int>(tables->count(3)) : -1;
    };
    for (const Bytes& entry : {make_entry_2(table.size(), 4), make_entry_3(table.size())}) {
        ASSERT_EQ(chassis_within(entry, table), 2);
        for (std::size_t size = 0; size < table.size(); ++size) {
            const int whole = size < first_chassis
                                  ? -1
                                  : std::min(2, static_cast<int>((size - first_chassis) / chassis_size));
            EXPECT_EQ(
                chassis_within(entry, {table.begin(), table.begin() + static_cast<std::ptrdiff_t>(size)}),
                whole);
        }
        for (std::size_t size = 0; size < entry.size(); ++size) {
            EXPECT_EQ(
                chassis_within({entry.begin(), entry.begin() + static_cast<std::ptrdiff_t>(size)}, table),
                -1);
            Bytes wrong = entry;  // no checksum is right any more
            wrong[size] = static_cast<std::uint8_t>(wrong[size] + 1);
            EXPECT_EQ(chassis_within(wrong, table), -1) << "byte " << size;
        }
        for (const int lie : {0, 3, 23, 40, 255}) {
            Bytes damaged = table;
            damaged[first_chassis + chassis_size + 1] = static_cast<std::uint8_t>(lie);
            EXPECT_EQ(chassis_within(entry, damaged), 1) << lie;
        }
        for (std::size_t at = 0; at < table.size(); ++at) {
            for (int value = 0; value < 256; ++value) {
                Bytes damaged = table;
                damaged[at] = static_cast<std::uint8_t>(value);
                EXPECT_LE(chassis_within(entry, damaged), 3);
            }
        }
    }
    EXPECT_EQ(chassis_within(make_entry_3(0xFFFFFFFF), table), 2);
    EXPECT_EQ(chassis_within(make_entry_2(0xFFFF, 0xFFFF), table), 2);
    EXPECT_EQ(chassis_within(make_entry_2(table.size(), 2), table), 1);
    EXPECT_EQ(chassis_within(make_entry_3(first_chassis + 1), table), 0);
    Bytes lying = make_entry_3(table.size());
    for (const int length : {0, 23, 25, 255}) {
        lying[6] = static_cast<std::uint8_t>(length);
        fix_sum(lying, 0, 24, 5);
        EXPECT_EQ(chassis_within(lying, table), -1) << length;
    }
}

TEST_F(Smbios, SharedSensorStateIsKeptOnBladesOnly) {
    void* const library = ::dlopen(SENSORSHARE_LIBRARY, RTLD_NOW);
    ASSERT_NE(library, nullptr) << ::dlerror();
    const auto status = reinterpret_cast<GetSharedSensorStatusFn>(::dlsym(library, "GetSharedSensorStatus"));
    const auto enable = reinterpret_cast<EnableSharedSensorFn>(::dlsym(library, "EnableSharedSensor"));
    const auto disable = reinterpret_cast<DisableSharedSensorFn>(::dlsym(library, "DisableSharedSensor"));
    ASSERT_TRUE(status && enable && disable);

    constexpr int kNotAvailable = -3;
    EXPECT_EQ(status(), kNotAvailable);  // no tables
    write_machine({0x11, 0x1D});
    EXPECT_EQ(status(), kNotAvailable);
    EXPECT_EQ(enable(-1), kNotAvailable);

    write_machine({0x1D, 0x1C});
    EXPECT_EQ(status(), 0);
    EXPECT_EQ(enable(-1), 1);
    EXPECT_EQ(status(), 1);
    const std::string lock = store::state_dir() + "/registry.conf.lock";
    fs::remove(lock);
    fs::create_directory(lock);  // no writer gets by
    EXPECT_EQ(disable(-1), 1);
    fs::remove(lock);
    EXPECT_EQ(disable(-1), 0);
    EXPECT_EQ(status(), 0);

    write_registry("no key file");
    EXPECT_EQ(enable(-1), -2);
    EXPECT_EQ(status(), -2);
    EXPECT_TRUE(state_files("corrupt").empty());
    ::dlclose(library);
}

}  // namespace
}  // namespace zel::test
