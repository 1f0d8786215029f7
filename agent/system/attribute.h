// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>

namespace zel::system {

/// What one of the kernel's attribute files says in its first line, at most 512 bytes; nothing when it cannot be read.
std::optional<std::string> attribute(const std::string& path);

/// The same as a whole number that is not negative.
std::optional<std::uint32_t> attribute_number(const std::string& path);

}  // namespace zel::system
