// SPDX-License-Identifier: GPL-3.0-or-later
#include "plain_text.h"

#include "chars/utf8.h"

namespace zel::base {
namespace {

using chars::Utf8Character;

bool is_control(char32_t code) {
    return code < 0x20 || (code >= 0x7F && code < 0xA0);
}

}  // namespace

bool is_plain(std::string_view text) {
    while (!text.empty()) {
        const Utf8Character next = chars::first_character(text);
        if (next.kind != Utf8Character::Kind::whole || is_control(next.code)) return false;
        text.remove_prefix(next.size);
    }
    return true;
}

std::string_view cut(std::string_view text, std::size_t most) {
    text = text.substr(0, most);
    const std::size_t valid = chars::valid_utf8_prefix(text);
    const bool half = chars::first_character(text.substr(valid)).kind == Utf8Character::Kind::cut_short;
    return half ? text.substr(0, valid) : text;
}

void put(std::string_view text, std::span<char> out) {
    const std::string_view fitting = cut(text, out.size() - 1);
    out[fitting.copy(out.data(), fitting.size())] = '\0';
}

}  // namespace zel::base
