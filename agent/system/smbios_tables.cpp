// SPDX-License-Identifier: GPL-3.0-or-later
#include "smbios_tables.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <string_view>
#include <utility>

#include "base/file_io.h"
#include "store/agent_config.h"

namespace zel::system {
namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t kMaxFile = std::size_t{1} << 20;
constexpr std::size_t kHeader = 4;
constexpr std::uint8_t kEndOfTable = 127;
constexpr std::size_t kChassisTypeOffset = 5;
constexpr std::uint8_t kChassisTypeMask = 0x7F;  // the top bit tells of a lock
constexpr std::uint8_t kBlade = 0x1C;            // the blade itself; 1Dh is the enclosure around blades

/// What an entry point says about the table.
struct Extent {
    std::size_t bytes;  // at most
    std::size_t count;  // at most; 2.x only
};

std::optional<std::vector<std::uint8_t>> read_file(const std::string& path) {
    const auto file = base::open_regular(path);
    std::string content;
    if (!file || !base::read_at_most(file.get(), kMaxFile + 1, content) || content.size() > kMaxFile)
        return std::nullopt;
    return std::vector<std::uint8_t>(content.begin(), content.end());
}

std::size_t little_endian(Bytes bytes) {
    return std::accumulate(bytes.rbegin(), bytes.rend(), std::size_t{0},
                           [](std::size_t high, std::uint8_t low) { return high << 8U | low; });
}

bool starts_with(Bytes bytes, std::string_view anchor) {
    return bytes.size() >= anchor.size() && std::equal(anchor.begin(), anchor.end(), bytes.begin());
}

bool sums_to_zero(Bytes bytes) {
    return std::accumulate(bytes.begin(), bytes.end(), 0U) % 256 == 0;
}

std::optional<Extent> read_entry_point_3(Bytes entry) {
    constexpr std::size_t kSize = 24;
    if (entry.size() < kSize || !starts_with(entry, "_SM3_")) return std::nullopt;
    const std::size_t length = entry[6];
    if (length < kSize || length > entry.size() || !sums_to_zero(entry.first(length))) return std::nullopt;
    return Extent{little_endian(entry.subspan(12, 4)), kMaxFile};
}

std::optional<Extent> read_entry_point_2(Bytes entry) {
    constexpr std::size_t kSize = 31;
    if (entry.size() < kSize || !starts_with(entry, "_SM_")) return std::nullopt;
    const std::size_t length = entry[5];
    // Version 2.1 gave its own length as one less than it is.
    if (length < kSize - 1 || length > entry.size() || !sums_to_zero(entry.first(length)))
        return std::nullopt;
    const Bytes inner = entry.subspan(16, 15);
    if (!starts_with(inner, "_DMI_") || !sums_to_zero(inner)) return std::nullopt;
    return Extent{little_endian(entry.subspan(22, 2)), little_endian(entry.subspan(28, 2))};
}

/// The structure at the start of `rest`, and in `used` its size with its strings; nothing when it does not
/// lie wholly inside.
std::optional<Structure> first_structure(Bytes rest, std::size_t& used) {
    if (rest.size() < kHeader) return std::nullopt;
    const std::size_t length = rest[1];
    if (length < kHeader || length > rest.size()) return std::nullopt;
    constexpr std::array<std::uint8_t, 2> kEndOfStrings{0, 0};
    const auto strings = rest.begin() + static_cast<std::ptrdiff_t>(length);
    const auto end = std::search(strings, rest.end(), kEndOfStrings.begin(), kEndOfStrings.end());
    if (end == rest.end()) return std::nullopt;
    used = static_cast<std::size_t>(end - rest.begin()) + kEndOfStrings.size();
    return Structure{rest[0], rest.first(length)};
}

std::vector<Structure> walk(Bytes table, std::size_t count) {
    std::vector<Structure> structures;
    std::size_t used = 0;
    while (structures.size() < count) {
        const auto structure = first_structure(table, used);
        if (!structure) break;
        structures.push_back(*structure);
        if (structure->type == kEndOfTable) break;
        table = table.subspan(used);
    }
    return structures;
}

}  // namespace

std::optional<Tables> Tables::parse(std::span<const std::uint8_t> entry_point,
                                    std::vector<std::uint8_t> table) {
    auto extent = read_entry_point_3(entry_point);
    if (!extent) extent = read_entry_point_2(entry_point);
    if (!extent) return std::nullopt;
    Tables result;
    result.table_ = std::move(table);
    const Bytes all = result.table_;
    result.structures_ = walk(all.first(std::min(all.size(), extent->bytes)), extent->count);
    if (result.structures_.empty()) return std::nullopt;
    return result;
}

std::optional<Tables> Tables::read(const std::string& folder) {
    const auto entry_point = read_file(folder + "/smbios_entry_point");
    auto table = read_file(folder + "/DMI");
    if (!entry_point || !table) return std::nullopt;
    return parse(*entry_point, std::move(*table));
}

std::size_t Tables::count(std::uint8_t type) const {
    return static_cast<std::size_t>(
        std::ranges::count(structures_, type, [](const Structure& one) { return one.type; }));
}

std::optional<Structure> Tables::find(std::uint8_t type, std::size_t instance) const {
    for (const Structure& one : structures_) {
        if (one.type == type && instance-- == 0) return one;
    }
    return std::nullopt;
}

bool is_blade(const Structure& chassis) {
    return chassis.type == kChassis && chassis.bytes.size() > kChassisTypeOffset &&
           (chassis.bytes[kChassisTypeOffset] & kChassisTypeMask) == kBlade;
}

bool Tables::has_blade() const {
    return std::ranges::any_of(structures_, is_blade);
}

std::string tables_folder() {
    return store::configured("hardware", "smbios_tables", "/sys/firmware/dmi/tables");
}

}  // namespace zel::system
