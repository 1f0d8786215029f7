// SPDX-License-Identifier: GPL-3.0-or-later
#include "setting.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "base/json_text.h"
#include "base/plain_text.h"
#include "store/key_file.h"

namespace zel::ctl {
namespace {

std::string joined(const std::vector<std::string>& words) {
    std::string all;
    for (const std::string& word : words)
        all.append(all.empty() ? "" : "|").append(word);
    return all;
}

bool is_valid(const Kind& kind, const Scalar& value) {
    switch (kind.type) {
        case Kind::Type::number: {
            const auto* number = std::get_if<std::int64_t>(&value);
            return number != nullptr && *number >= kind.least && *number <= kind.greatest;
        }
        case Kind::Type::flag:
            return std::holds_alternative<bool>(value);
        case Kind::Type::word: {
            const auto* word = std::get_if<std::string>(&value);
            return word != nullptr && std::ranges::find(kind.words, *word) != kind.words.end();
        }
        case Kind::Type::text: {
            const auto* text = std::get_if<std::string>(&value);
            const auto size = static_cast<std::int64_t>(text != nullptr ? text->size() : 0);
            return text != nullptr && size >= kind.least && size <= kind.greatest && base::is_plain(*text);
        }
    }
    return false;
}

}  // namespace

const char* unit_name(settings::Unit unit) {
    constexpr std::array kNames{"", "seconds", "percent", "MiB", "degrees Celsius", "millivolts"};
    return kNames.at(static_cast<std::size_t>(unit));
}

const char* type_name(Kind::Type type) {
    constexpr std::array kNames{"number", "flag", "word", "text"};
    return kNames.at(static_cast<std::size_t>(type));
}

std::string range_text(const Kind& kind) {
    switch (kind.type) {
        case Kind::Type::number:
            if (kind.least == kind.greatest) return "as the sensor has it";
            return std::to_string(kind.least) + ".." + std::to_string(kind.greatest);
        case Kind::Type::flag:
            return "true|false";
        case Kind::Type::word:
            return joined(kind.words);
        case Kind::Type::text:
            return std::to_string(kind.least) + ".." + std::to_string(kind.greatest) + " bytes";
    }
    return {};
}

std::string value_text(const Scalar& value) {
    if (const auto* text = std::get_if<std::string>(&value)) return *text;
    if (const auto* flag = std::get_if<bool>(&value)) return *flag ? "true" : "false";
    if (const auto* number = std::get_if<std::int64_t>(&value)) return std::to_string(*number);
    return "null";
}

Scalar parse_value(const Kind& kind, const std::string& text) {
    switch (kind.type) {
        case Kind::Type::number:
            if (const auto number = store::parse_int(text)) return *number;
            return {};
        case Kind::Type::flag:
            return text == "true" ? Scalar(true) : text == "false" ? Scalar(false) : Scalar();
        case Kind::Type::word:
        case Kind::Type::text:
            return text;
    }
    return {};
}

std::string fault_of(const Kind& kind, const Scalar& value) {
    if (kind.read_only) return "cannot be set";
    if (is_valid(kind, value)) return {};
    const auto* text = std::get_if<std::string>(&value);
    const std::string shown = kind.secret       ? "this"
                              : text != nullptr ? base::json_text(*text)
                                                : value_text(value);
    switch (kind.type) {
        case Kind::Type::number:
            return shown + " is not a whole number from " + std::to_string(kind.least) + " to " +
                   std::to_string(kind.greatest);
        case Kind::Type::flag:
            return shown + " is neither true nor false";
        case Kind::Type::word:
            return shown + " is none of " + joined(kind.words);
        case Kind::Type::text:
            return shown + " is not a plain text of " + range_text(kind);
    }
    return {};
}

}  // namespace zel::ctl
