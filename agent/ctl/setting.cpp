// SPDX-License-Identifier: GPL-3.0-or-later
#include "setting.h"

#include <algorithm>
#include <array>
#include <string_view>

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

bool fits(const Kind& kind, const Json& value) {
    switch (kind.type) {
        case Kind::Type::number:
            return value.is_number_integer();
        case Kind::Type::flag:
            return value.is_boolean();
        case Kind::Type::word:
        case Kind::Type::text:
            return value.is_string();
    }
    return false;
}

bool is_in_range(const Kind& kind, const Json& value) {
    switch (kind.type) {
        case Kind::Type::number:
            // An unsigned number beyond what is signed is beyond every range.
            return (!value.is_number_unsigned() ||
                    value.get<std::uint64_t>() <= std::uint64_t{std::numeric_limits<std::int64_t>::max()}) &&
                   value.get<std::int64_t>() >= kind.least && value.get<std::int64_t>() <= kind.greatest;
        case Kind::Type::flag:
            return true;
        case Kind::Type::word:
            return std::ranges::find(kind.words, value.get_ref<const std::string&>()) != kind.words.end();
        case Kind::Type::text: {
            const auto& text = value.get_ref<const std::string&>();
            const auto size = static_cast<std::int64_t>(text.size());
            return size >= kind.least && size <= kind.greatest && base::is_plain(text);
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

std::string value_text(const Json& value) {
    if (value.is_string()) return value.get<std::string>();
    if (value.is_boolean()) return value.get<bool>() ? "true" : "false";
    return value.is_number_integer() ? std::to_string(value.get<std::int64_t>()) : base::json_text(value);
}

Json parse_value(const Kind& kind, const std::string& text) {
    switch (kind.type) {
        case Kind::Type::number:
            if (const auto number = store::parse_int(text)) return *number;
            return nullptr;
        case Kind::Type::flag:
            return text == "true" ? Json(true) : text == "false" ? Json(false) : Json(nullptr);
        case Kind::Type::word:
        case Kind::Type::text:
            return text;
    }
    return nullptr;
}

std::string fault_of(const Kind& kind, const Json& value) {
    if (kind.read_only) return "cannot be set";
    if (fits(kind, value) && is_in_range(kind, value)) return {};
    const std::string shown = kind.secret ? "this" : base::json_text(value);
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
