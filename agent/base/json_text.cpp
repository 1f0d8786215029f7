// SPDX-License-Identifier: GPL-3.0-or-later
#include "json_text.h"

#include <limits>

namespace zel::base {

Json parse_json(std::string_view text) {
    return Json::parse(text, nullptr, false);
}

std::string text_at(const Json& json, const char* name) {
    const auto found = json.find(name);
    return found != json.end() && found->is_string() ? found->get<std::string>() : std::string();
}

std::optional<std::int64_t> number_at(const Json& json, const char* name) {
    const auto found = json.find(name);
    if (found == json.end() || !found->is_number_integer()) return std::nullopt;
    if (found->is_number_unsigned() && found->get<std::uint64_t>() > std::numeric_limits<std::int64_t>::max())
        return std::nullopt;
    return found->get<std::int64_t>();
}

std::string json_text(const Json& json, int indent) {
    return json.dump(indent, ' ', false, Json::error_handler_t::replace);
}

}  // namespace zel::base
