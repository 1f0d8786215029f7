// SPDX-License-Identifier: GPL-3.0-or-later
// The firmware's SMBIOS structures, as the kernel hands them out: a folder with the files
// `smbios_entry_point` and `DMI`. Firmware is not trusted: every length is checked against the bytes that
// are really there. A static library, so that whoever needs the chassis type carries its own reader.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace zel::system {

/// SMBIOS structure type of a system enclosure or chassis.
inline constexpr std::uint8_t kChassis = 3;

/// One structure: its formatted area, four header bytes included. Points into the `Tables` that gave it.
struct Structure {
    std::uint8_t type;
    std::span<const std::uint8_t> bytes;
};

class Tables {
  public:
    /// Reads both files of `folder`. Nothing when one of them is unreadable or larger than 1 MiB, or when
    /// they do not parse (see `parse`).
    static std::optional<Tables> read(const std::string& folder);

    /// Takes an entry point (2.x or 3.x; its checksums must be right) and the structure table it describes.
    /// The structures end at the first one that does not lie wholly inside the table: what stands before
    /// the damage counts. Nothing when the entry point is invalid or the first structure is damaged.
    static std::optional<Tables> parse(std::span<const std::uint8_t> entry_point,
                                       std::vector<std::uint8_t> table);

    Tables(Tables&&) noexcept = default;
    Tables& operator=(Tables&&) noexcept = default;
    Tables(const Tables&) = delete;
    Tables& operator=(const Tables&) = delete;
    ~Tables() = default;

    /// How many structures have this type.
    [[nodiscard]] std::size_t count(std::uint8_t type) const;
    /// The structure of this type with this 0-based number; nothing when there are fewer.
    [[nodiscard]] std::optional<Structure> find(std::uint8_t type, std::size_t instance) const;
    /// True when any chassis is a blade.
    [[nodiscard]] bool has_blade() const;

  private:
    Tables() = default;
    std::vector<std::uint8_t> table_;  // moving keeps its storage, so the spans below stay valid
    std::vector<Structure> structures_;
};

/// True for a chassis structure whose type says blade.
bool is_blade(const Structure& chassis);

/// The folder to read: `[hardware] smbios_tables` of agent.conf, else the kernel's own.
std::string tables_folder();

}  // namespace zel::system
