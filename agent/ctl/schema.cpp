// SPDX-License-Identifier: GPL-3.0-or-later
#include "schema.h"

#include "document.h"
#include "machine.h"

namespace zel::ctl {
namespace {

Json schema_of(const Kind& kind) {
    Json json;
    switch (kind.type) {
        case Kind::Type::number:
            json = {{"type", "integer"}};
            if (kind.least != kind.greatest) {
                json["minimum"] = kind.least;
                json["maximum"] = kind.greatest;
            }
            break;
        case Kind::Type::flag:
            json = {{"type", "boolean"}};
            break;
        case Kind::Type::word:
            json = {{"enum", kind.words}};
            break;
        case Kind::Type::text:
            json = {{"type", "string"}, {"minLength", kind.least}, {"maxLength", kind.greatest}};
            break;
    }
    const std::string unit = unit_name(kind.unit);
    json["description"] = kind.meaning + (unit.empty() ? "" : ", " + unit);
    return json;
}

/// Adds a setting where its path leads.
void add(Json& object, std::span<const std::string_view> parts, const Resource& resource, std::size_t depth,
         const Kind& kind) {
    if (!object.contains("type")) object = {{"type", "object"}, {"additionalProperties", false}};
    // What stands for any object's name.
    const bool any =
        (depth == 1 && resource.bracketed && parts.size() > 1) || (depth == 1 && parts.front() == "N");
    Json& member = any ? object["patternProperties"][parts.front() == "N" ? "^[1-9][0-9]*$" : "^."]
                       : object["properties"][std::string(parts.front())];
    if (parts.size() == 1)
        member = schema_of(kind);
    else
        add(member, parts.subspan(1), resource, depth + 1, kind);
}

Json settings_schema() {
    const Machine sample = Machine::sample();
    Json settings;
    for (const Setting& setting : sample.settings()) {
        const auto parts = parts_of(setting.path);
        add(settings, parts, *resource_of(setting.path.resource), 0, *setting.kind);
    }
    // An interval stands beside the objects of its resource, whose names may be any.
    for (auto& [name, resource] : settings["properties"].items()) {
        if (!resource.contains("patternProperties") || !resource.contains("properties")) continue;
        std::string others = "^(?!(";
        for (const auto& [own, unused] : resource["properties"].items())
            others.append(others.back() == '(' ? "" : "|").append(own);
        Json objects = resource["patternProperties"].front();
        if (resource["patternProperties"].contains("^."))
            resource["patternProperties"] = {{others + ")$).", std::move(objects)}};
    }
    return settings;
}

}  // namespace

Json schema() {
    const Json text{{"type", "string"}};
    const Json any = Json::object();
    const Json list{{"type", "array"}};
    const Json flag{{"type", "boolean"}};
    const Json number{{"const", kSchema}};
    const Json tag{{"type", {"string", "null"}}};
    const auto object = [](Json properties, Json required) {
        return Json{{"type", "object"},
                    {"properties", std::move(properties)},
                    {"required", std::move(required)},
                    {"additionalProperties", false}};
    };
    const Json change = object({{"path", text}, {"from", any}, {"to", any}}, {"path", "from", "to"});
    const Json error = object({{"path", text}, {"message", text}}, {"path", "message"});
    const Json document = object(
        {{"schema", number}, {"tag", tag}, {"settings", {{"$ref", "#/$defs/settings"}}}}, Json::array());
    Json answer = object({{"schema", number},
                          {"errors", {{"type", "array"}, {"items", error}}},
                          {"tag", tag},
                          {"changes", {{"type", "array"}, {"items", change}}},
                          {"applied", flag},
                          {"valid", flag},
                          {"settings", {{"anyOf", {{{"$ref", "#/$defs/settings"}}, list}}}}},
                         {"schema", "errors"});
    for (const char* name : {"resources", "objects", "events"})
        answer["properties"][name] = list;
    for (const char* name : {"time", "version", "boot_mode", "metrics", "completion"})
        answer["properties"][name] = text;
    for (const char* name : {"controller", "watchdog"})
        answer["properties"][name] = {{"type", "object"}};
    return {
        {"$schema", "https://json-schema.org/draft/2020-12/schema"},
        {"title", "Settings of the agent: documents that zelctl reads, and what it answers with --json"},
        {"anyOf", {{{"$ref", "#/$defs/document"}}, {{"$ref", "#/$defs/answer"}}}},
        {"$defs", {{"document", document}, {"answer", std::move(answer)}, {"settings", settings_schema()}}}};
}

}  // namespace zel::ctl
