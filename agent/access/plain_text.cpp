// SPDX-License-Identifier: GPL-3.0-or-later
#include "plain_text.h"

#include <glib.h>

namespace zel::access {

bool is_plain(std::string_view text) {
    if (!g_utf8_validate_len(text.data(), text.size(), nullptr)) return false;
    const char* const end = text.data() + text.size();
    for (const char* at = text.data(); at < end; at = g_utf8_next_char(at)) {
        if (g_unichar_iscntrl(g_utf8_get_char(at))) return false;
    }
    return true;
}

std::string_view cut(std::string_view text, std::size_t most) {
    text = text.substr(0, most);
    constexpr auto kCutShort = static_cast<gunichar>(-2);
    const char* tail = nullptr;
    g_utf8_validate_len(text.data(), text.size(), &tail);
    const std::size_t valid = static_cast<std::size_t>(tail - text.data());
    const std::string_view rest = text.substr(valid);
    const bool half = !rest.empty() &&
                      g_utf8_get_char_validated(rest.data(), static_cast<gssize>(rest.size())) == kCutShort;
    return half ? text.substr(0, valid) : text;
}

void put(std::string_view text, std::span<char> out) {
    const std::string_view fitting = cut(text, out.size() - 1);
    out[fitting.copy(out.data(), fitting.size())] = '\0';
}

}  // namespace zel::access
