// SPDX-License-Identifier: GPL-3.0-or-later
// One line of a key file: what may stand in it, how it is written and read.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zel::store {

inline constexpr std::string_view kBlanks = " \t\r\f\v";

/// Which texts may be written as a group's name, a key and a value.
bool is_name(std::string_view name);
bool is_key(std::string_view key);
bool is_value(std::string_view value);

/// Appends a value as it stands in the file.
void append_escaped(std::string& text, std::string_view value);
/// Undoes `append_escaped`; nothing for an escape that it does not write.
std::optional<std::string> unescaped(std::string_view text);

std::string_view trimmed(std::string_view text);

/// One line of the file. The views point into texts that the key file owns.
struct Line {
    std::string_view text;   ///< As it stands in the file, without the line's end.
    std::string_view key;    ///< Empty for a comment, a blank line and a group's head.
    std::string_view value;  ///< Without blanks around it, escapes as they are.
};

/// A key's line; nothing when the text has no key or an odd one.
std::optional<Line> parse_entry(std::string_view text);

/// The name between the brackets of a group's head, given without blanks around it; empty for anything else.
std::string_view parse_head(std::string_view text);

}  // namespace zel::store
