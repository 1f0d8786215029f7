// SPDX-License-Identifier: GPL-3.0-or-later
// Single settings in the registry. What makes no sense reads as its default; what went wrong is told in the
// trace log.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "store/registry.h"

namespace zel::settings {

/// Tells whether a number makes sense.
using Allowed = bool (*)(std::uint64_t number);

template <std::uint64_t least, std::uint64_t greatest>
constexpr bool within(std::uint64_t number) {
    return number >= least && number <= greatest;
}

/// False when the registry cannot be read.
bool registry_readable();

/// A number; `fallback` when it is missing, no number or not allowed.
std::uint32_t read_number(const char* key, const char* name, Allowed allowed, std::uint32_t fallback);

/// A text; `fallback` when it is missing, no text, not UTF-8 or holds control characters.
std::string read_text(const char* key, const char* name, const std::string& fallback);

/// Writes all values under one key; false when that failed, and all of them are as they were. `counter` as
/// for registry::set.
bool write_values(const char* key, std::span<const store::registry::Entry> values, const char* counter = "");

}  // namespace zel::settings
