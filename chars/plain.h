// SPDX-License-Identifier: GPL-3.0-or-later
// Which characters of a text from outside may reach a terminal or a log. Names of devices, sensors, folders
// and communities are whatever somebody else made them: they must neither steer a terminal nor make a line
// look like another one.
//
// The screen shows "?" for what is left out, because its cells are counted. A log shows the bytes as "\xNN":
// nothing is lost, and two names that differ look different.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace zel::chars {

/// False for control characters (C0, DEL, C1), for the separators of lines and paragraphs, and for what
/// changes the direction of writing: with that a name can be shown as a different one.
constexpr bool is_plain(char32_t code) {
    const bool control = code < 0x20 || (code >= 0x7F && code < 0xA0);
    const bool mark = code == 0x061C || code == 0x200E || code == 0x200F;
    const bool separator_or_embedding = code >= 0x2028 && code <= 0x202E;
    const bool isolate = code >= 0x2066 && code <= 0x2069;
    return !control && !mark && !separator_or_embedding && !isolate;
}

/// How many bytes at the front of the text are UTF-8 and plain.
std::size_t plain_prefix(std::string_view text);

/// A byte as a log shows it: "\n", "\t", else "\xNN".
std::string escaped(char byte);

/// The text with every byte escaped that is not UTF-8 or not plain.
std::string escaped(std::string_view text);

}  // namespace zel::chars
