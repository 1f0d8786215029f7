// SPDX-License-Identifier: GPL-3.0-or-later
#include "json_text.h"

namespace zel::base {

Json parse_json(std::string_view text) {
    return Json::parse(text, nullptr, false);
}

std::string json_text(const Json& json, int indent) {
    return json.dump(indent, ' ', false, Json::error_handler_t::replace);
}

}  // namespace zel::base
