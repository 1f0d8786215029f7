// SPDX-License-Identifier: GPL-3.0-or-later
#include "utf8.h"

namespace zel::chars {
namespace {

/// What a first byte says of its character: size, bits that it holds itself, least value of that size.
struct Lead {
    std::size_t size;
    char32_t bits;
    char32_t least;
};

Lead lead_of(unsigned char byte) {
    if (byte < 0x80) return {1, byte, 0};
    if (byte >= 0xC2 && byte < 0xE0) return {2, byte & 0x1FU, 0x80};
    if (byte >= 0xE0 && byte < 0xF0) return {3, byte & 0x0FU, 0x800};
    if (byte >= 0xF0 && byte < 0xF5) return {4, byte & 0x07U, 0x10000};
    return {0, 0, 0};
}

bool is_character(char32_t code) {
    return code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
}

}  // namespace

Utf8Character first_character(std::string_view text) {
    using Kind = Utf8Character::Kind;
    const Lead lead = text.empty() ? Lead{0, 0, 0} : lead_of(static_cast<unsigned char>(text.front()));
    if (lead.size == 0) return {};
    char32_t code = lead.bits;
    for (std::size_t at = 1; at < lead.size; ++at) {
        if (at == text.size()) return {.kind = Kind::cut_short};
        const auto byte = static_cast<unsigned char>(text[at]);
        if ((byte & 0xC0U) != 0x80) return {};
        code = code << 6U | (byte & 0x3FU);
    }
    if (code < lead.least || !is_character(code)) return {};
    return {.kind = Kind::whole, .code = code, .size = lead.size};
}

std::size_t valid_utf8_prefix(std::string_view text) {
    std::size_t valid = 0;
    while (valid < text.size()) {
        if (static_cast<unsigned char>(text[valid]) < 0x80) {
            ++valid;
            continue;
        }
        const Utf8Character next = first_character(text.substr(valid));
        if (next.kind != Utf8Character::Kind::whole) break;
        valid += next.size;
    }
    return valid;
}

}  // namespace zel::chars
