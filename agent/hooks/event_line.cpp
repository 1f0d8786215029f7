// SPDX-License-Identifier: GPL-3.0-or-later
#include "event_line.h"

#include <array>
#include <utility>

#include "base/json_text.h"
#include "base/plain_text.h"
#include "chars/plain.h"

namespace zel::hooks {
namespace {

using base::Json;

constexpr std::size_t kLongestValue = 4096;
constexpr std::array kVariables{
    std::pair{"ZEL_SEQ", "seq"},           std::pair{"ZEL_TIME", "time"},     std::pair{"ZEL_EVENT", "event"},
    std::pair{"ZEL_RESOURCE", "resource"}, std::pair{"ZEL_OBJECT", "object"}, std::pair{"ZEL_ID", "id"},
    std::pair{"ZEL_KIND", "kind"},         std::pair{"ZEL_FROM", "from"},     std::pair{"ZEL_TO", "to"},
    std::pair{"ZEL_VALUE", "value"},       std::pair{"ZEL_UNIT", "unit"},     std::pair{"ZEL_LIMIT", "limit"},
    std::pair{"ZEL_MESSAGE", "message"}};

/// A field as one plain line, whatever stands in it: a hook may put it into a mail's head.
std::string shown(const Json& event, const char* field) {
    const auto found = event.find(field);
    if (found == event.end() || !found->is_primitive() || found->is_null()) return {};
    const std::string text = found->is_string() ? found->get<std::string>() : base::json_text(*found);
    return std::string(base::cut(chars::escaped(text), kLongestValue));
}

}  // namespace

std::optional<EventLine> parse_event(std::string_view line) {
    const Json event = base::parse_json(line);
    if (!event.is_object()) return std::nullopt;
    const auto seq = event.find("seq");
    if (seq == event.end() || !seq->is_number_unsigned() || *seq == 0U) return std::nullopt;
    EventLine parsed{.seq = seq->get<std::uint64_t>(), .line = std::string(line), .variables = {}};
    for (const auto& [variable, field] : kVariables)
        parsed.variables.push_back(std::string(variable) + '=' + shown(event, field));
    return parsed;
}

}  // namespace zel::hooks
