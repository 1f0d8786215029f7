// SPDX-License-Identifier: GPL-3.0-or-later
// Texts that can stand in a file, on a screen and in a caller's buffer: UTF-8 without control characters.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

namespace zel::base {

/// True for UTF-8 without control characters (C0, DEL and C1). The empty text is one.
bool is_plain(std::string_view text);

/// The first bytes of a text, at most `most` of them. A character that does not fit whole, or that the text
/// itself ends in the middle of, is left out.
std::string_view cut(std::string_view text, std::size_t most);

/// Copies as much as fits with a terminating zero, no character cut in half. `out` has room for one byte.
void put(std::string_view text, std::span<char> out);

}  // namespace zel::base
