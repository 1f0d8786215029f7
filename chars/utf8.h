// SPDX-License-Identifier: GPL-3.0-or-later
// UTF-8 without a locale: files, firmware and other programs hand us bytes that may be anything.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace zel::chars {

/// What stands at the front of a text.
struct Utf8Character {
    enum class Kind : std::uint8_t {
        whole,      ///< A character.
        cut_short,  ///< The beginning of one: the text ends before the character does.
        invalid,    ///< No UTF-8: a stray byte, an overlong form, a surrogate, more than U+10FFFF.
    };
    Kind kind = Kind::invalid;
    char32_t code = 0;     ///< Of a whole character.
    std::size_t size = 0;  ///< In bytes, of a whole character.
};

/// Decodes the first character of a text that is not empty.
Utf8Character first_character(std::string_view text);

/// How many bytes at the front of the text are whole characters.
std::size_t valid_utf8_prefix(std::string_view text);

/// True for a text of whole characters; the empty text is one.
inline bool is_utf8(std::string_view text) {
    return valid_utf8_prefix(text) == text.size();
}

}  // namespace zel::chars
