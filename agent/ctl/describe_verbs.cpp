// SPDX-License-Identifier: GPL-3.0-or-later
// list, describe: what there is, and what it may be.
#include "answer.h"
#include "document.h"
#include "machine.h"
#include "plan.h"
#include "schema.h"
#include "verbs.h"

namespace zel::ctl {
namespace {

/// What a resource's objects are called, in order.
std::vector<Path> objects_of(const Machine& machine, const Resource& resource) {
    std::vector<Path> objects;
    for (const Setting* setting : machine.below({resource.name})) {
        Path object{setting->path.resource, setting->path.object};
        const std::size_t dot = setting->path.rest.find('.');
        if (object.object.empty() && resource.name == std::string_view("cpu") && dot != std::string::npos)
            object.rest = setting->path.rest.substr(0, dot);
        const bool whole = object.object.empty() && object.rest.empty();
        if (!whole && (objects.empty() || objects.back() != object)) objects.push_back(std::move(object));
    }
    return objects;
}

std::string default_text(const Setting& setting) {
    return is_nothing(setting.fallback) ? "" : shown(value_text(setting.fallback));
}

Json description(const Setting& setting) {
    const Kind& kind = *setting.kind;
    Json json{{"path", text_of(setting.path)}, {"type", type_name(kind.type)}, {"range", range_text(kind)}};
    if (kind.type == Kind::Type::number && kind.least != kind.greatest) {
        json["minimum"] = kind.least;
        json["maximum"] = kind.greatest;
    }
    if (kind.type == Kind::Type::word) json["words"] = kind.words;
    json["unit"] = unit_name(kind.unit);
    json["default"] = json_of(setting.fallback);
    json["meaning"] = kind.meaning;
    json["read_only"] = kind.read_only;
    return json;
}

/// The same setting of the machine that stands for any: of the object "PATH" instead of "/var".
std::vector<const Setting*> general(const Machine& sample, const Path& path) {
    auto found = sample.below(path);
    for (const Setting& setting : sample.settings()) {
        if (!found.empty() || setting.path.resource != path.resource) continue;
        Path any = path;
        if (!any.object.empty()) any.object = setting.path.object;
        if (any.resource == "cpu" && !any.rest.empty() && any.rest.front() >= '0' && any.rest.front() <= '9')
            any.rest.replace(0, any.rest.find('.'), "N");
        if (any != path) found = sample.below(any);
    }
    return found;
}

}  // namespace

Exit run_list(const Request& /*request*/, Answer& answer) {
    Machine machine;
    const Exit exit = machine.read(all_resources(), answer.problems);
    std::vector<Row> rows;
    Json list = Json::array();
    for (const Resource& resource : resources()) {
        rows.push_back({resource.name, resource.meaning});
        Json objects = Json::array();
        for (const Path& object : objects_of(machine, resource)) {
            const Setting* const name = machine.find({object.resource, object.object, "name"});
            rows.push_back(
                {shown(text_of(object)), name ? shown(value_text(name->get(machine.values()))) : ""});
            objects.push_back(text_of(object));
        }
        list.push_back(
            {{"name", resource.name}, {"meaning", resource.meaning}, {"objects", std::move(objects)}});
    }
    answer.text = columns(rows);
    answer.json = {{"schema", kSchema}, {"resources", std::move(list)}};
    return exit;
}

Exit run_describe(const Request& request, Answer& answer) {
    answer.json = {{"schema", kSchema}, {"settings", Json::array()}};
    if (request.schema) {
        answer.json = schema();
        answer.text = base::json_text(answer.json, 2) + '\n';
        return Exit::done;
    }
    const Machine sample = Machine::sample();
    std::vector<const Setting*> settings;
    if (request.words.empty()) {
        for (const Setting& setting : sample.settings())
            settings.push_back(&setting);
    } else {
        const auto path = parse_path(request.words.front());
        if (path) settings = general(sample, *path);
        if (settings.empty()) return tell_unknown(sample, request.words.front(), answer.problems);
    }
    std::vector<Row> rows{{"PATH", "VALUES", "UNIT", "DEFAULT", "MEANING"}};
    for (const Setting* setting : settings) {
        rows.push_back({text_of(setting->path), range_text(*setting->kind), unit_name(setting->kind->unit),
                        default_text(*setting), setting->kind->meaning});
        answer.json["settings"].push_back(description(*setting));
    }
    answer.text = columns(rows);
    return Exit::done;
}

}  // namespace zel::ctl
