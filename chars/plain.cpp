// SPDX-License-Identifier: GPL-3.0-or-later
#include "plain.h"

#include "utf8.h"

namespace zel::chars {

std::size_t plain_prefix(std::string_view text) {
    std::size_t plain = 0;
    while (plain < text.size()) {
        if (text[plain] >= ' ' && text[plain] <= '~') {  // nearly all there is
            ++plain;
            continue;
        }
        const Utf8Character next = first_character(text.substr(plain));
        if (next.kind != Utf8Character::Kind::whole || !is_plain(next.code)) break;
        plain += next.size;
    }
    return plain;
}

std::string escaped(char byte) {
    if (byte == '\n') return "\\n";
    if (byte == '\t') return "\\t";
    constexpr std::string_view kDigits = "0123456789abcdef";
    const auto code = static_cast<unsigned char>(byte);
    return {'\\', 'x', kDigits[code >> 4U], kDigits[code & 0xFU]};
}

std::string escaped(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const std::size_t plain = plain_prefix(text);
        result.append(text.substr(0, plain));
        text.remove_prefix(plain);
        if (text.empty()) break;
        result.append(escaped(text.front()));
        text.remove_prefix(1);
    }
    return result;
}

}  // namespace zel::chars
