// SPDX-License-Identifier: GPL-3.0-or-later
// JSON from and to text, once: its reader and its writer are most of what the library adds to a program.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace zel::base {

/// Its members stay in the order in which they were added.
using Json = nlohmann::ordered_json;

/// A text's value; a discarded one, which is no object and has nothing, for what is no JSON.
Json parse_json(std::string_view text);

/// An object's member that is a text; an empty one where there is none.
std::string text_at(const Json& json, const char* name);

/// An object's member that is a whole number; nothing where there is none, or one beyond what is signed.
std::optional<std::int64_t> number_at(const Json& json, const char* name);

/// One line, or lines indented by so many blanks. Bytes that are not UTF-8 are replaced.
std::string json_text(const Json& json, int indent = -1);

}  // namespace zel::base
