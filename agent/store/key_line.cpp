// SPDX-License-Identifier: GPL-3.0-or-later
#include "key_line.h"

#include <algorithm>

#include "chars/utf8.h"

namespace zel::store {
namespace {

bool is_control(char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
}

/// The letter after the backslash that a character of a value is written as; 0 for one that stands for
/// itself. Blanks at the ends are written so too: those of a value in the file do not count.
char escape_of(std::string_view value, std::size_t at) {
    switch (value[at]) {
        case '\\':
            return '\\';
        case '\n':
            return 'n';
        case '\r':
            return 'r';
        case '\t':
            return 't';
        case ' ':
            return at == 0 || at + 1 == value.size() ? 's' : '\0';
        default:
            return '\0';
    }
}

}  // namespace

std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

bool is_name(std::string_view name) {
    return !name.empty() && chars::is_utf8(name) && std::ranges::none_of(name, is_control) &&
           name.find_first_of("[]") == std::string_view::npos;
}

bool is_key(std::string_view key) {
    return is_name(key) && key.find('=') == std::string_view::npos && key.front() != '#' &&
           key.front() != ' ' && key.back() != ' ';
}

bool is_value(std::string_view value) {
    const auto unfit = [](char c) { return is_control(c) && c != '\t' && c != '\n' && c != '\r'; };
    return chars::is_utf8(value) && std::ranges::none_of(value, unfit);
}

void append_escaped(std::string& text, std::string_view value) {
    const bool plain = value.find_first_of("\\\n\r\t") == std::string_view::npos && !value.starts_with(' ') &&
                       !value.ends_with(' ');
    if (plain) {  // as most are; thousands are written at a time
        text += value;
        return;
    }
    for (std::size_t at = 0; at < value.size(); ++at) {
        const char escape = escape_of(value, at);
        if (escape != '\0') text += '\\';
        text += escape != '\0' ? escape : value[at];
    }
}

std::optional<std::string> unescaped(std::string_view text) {
    if (text.find('\\') == std::string_view::npos) return std::string(text);
    constexpr std::string_view kEscapes = "\\nrts";
    constexpr std::string_view kMeanings = "\\\n\r\t ";
    std::string value;
    value.reserve(text.size());
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] != '\\') {
            value += text[at];
            continue;
        }
        const std::size_t escape = ++at < text.size() ? kEscapes.find(text[at]) : std::string_view::npos;
        if (escape == std::string_view::npos) return std::nullopt;
        value += kMeanings[escape];
    }
    return value;
}

std::optional<Line> parse_entry(std::string_view text) {
    const std::size_t equals = text.find('=');
    const std::string_view key = trimmed(text.substr(0, equals));
    if (equals == std::string_view::npos || key.empty() || std::ranges::any_of(key, is_control))
        return std::nullopt;
    return Line{.text = text, .key = key, .value = trimmed(text.substr(equals + 1))};
}

std::string_view parse_head(std::string_view text) {
    if (!text.starts_with('[') || !text.ends_with(']')) return {};
    const std::string_view name = text.substr(1, text.size() - 2);
    const bool odd =
        name.find_first_of("[]") != std::string_view::npos || std::ranges::any_of(name, is_control);
    return odd ? std::string_view{} : name;
}

}  // namespace zel::store
