// SPDX-License-Identifier: GPL-3.0-or-later
// Settings as a JSON document.
//
//   {"schema":1,"tag":"9f2c...","settings":{"cpu":{"interval":10,"TOTAL":{"enable":true}},"filesystem":{"/var":{}}}}
#pragma once

#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/json_text.h"
#include "setting.h"

namespace zel::ctl {

using base::Json;

inline constexpr int kSchema = 1;
inline constexpr std::size_t kLargestDocument = std::size_t{1} << 20U;

struct Document {
    std::set<std::string> resources{};
    std::vector<Wish> wishes{};
    bool whole = false;  ///< It was read to its end; what is wrong with it is no more than what was told.
};

/// Reads a document. Problems are what is no JSON, nests too deep, has a key twice or one that no document has.
Document parse_document(std::string_view text, Problems& problems);

Json json_of(const Scalar& value);

/// One of each setting, nested by its path.
Json nested(std::span<const Setting* const> settings, const Values& values, bool secrets);

/// A document's text: one line for each object of a resource.
std::string document_text(const Json& document);

}  // namespace zel::ctl
