// SPDX-License-Identifier: GPL-3.0-or-later
#include "kept_state.h"

#include <fcntl.h>

#include "base/json_text.h"
#include "base/own_folder.h"
#include "event.h"
#include "settings/threshold_file.h"
#include "store/key_file.h"

namespace zel::tell {
namespace {

using base::Json;

constexpr const char* kName = "state.json";
constexpr std::size_t kMostBytes = std::size_t{8} << 20U;

Json json_of(const watch::ThingName& name, const watch::Thing& thing) {
    Json changes = Json::array();
    for (const auto change : thing.changes)
        changes.push_back(change.count());
    return {{"resource", std::get<0>(name)},
            {"object", settings::escape_name(std::get<1>(name))},
            {"kind", std::get<2>(name)},
            {"level", level_name(thing.level)},
            {"told", level_name(thing.told)},
            {"unreadable", thing.unreadable},
            {"missed", thing.missed},
            {"calm", thing.calm},
            {"since", time_text(thing.since)},
            {"sampled", time_text(thing.sampled)},
            {"value", thing.last.value},
            {"unsteady", thing.unsteady},
            {"unsteady_told", thing.unsteady_told.count()},
            {"changes", changes}};
}

/// Throws what nlohmann throws, or out_of_range, for what is no such object.
void restore(const Json& json, bool same_boot, watch::Judge& judge) {
    const std::string object = settings::unescape_name(json.at("object").get<std::string>());
    watch::Thing thing;
    thing.level = watch::level_of(json.at("level")).value();
    thing.told = watch::level_of(json.at("told")).value();
    thing.unreadable = json.at("unreadable").get<bool>();
    thing.missed = json.at("missed").get<int>();
    thing.calm = json.at("calm").get<int>();
    thing.since = time_of(json.at("since")).value();
    thing.sampled = time_of(json.at("sampled")).value();
    thing.last.object = object;
    thing.last.kind = json.at("kind");
    thing.last.value = json.at("value").get<std::int64_t>();
    if (same_boot) {
        thing.unsteady = json.at("unsteady").get<bool>();
        thing.unsteady_told = std::chrono::milliseconds(json.at("unsteady_told").get<std::int64_t>());
        for (const auto& change : json.at("changes"))
            thing.changes.emplace_back(change.get<std::int64_t>());
    }
    watch::ThingName name{json.at("resource"), object, thing.last.kind};
    judge.restore(std::move(name), std::move(thing));
}

Json json_of(const watch::Kept& kept) {
    Json facts = Json::object();
    for (const auto& [name, fact] : kept.facts)
        facts[settings::escape_name(name)] = fact;
    return {{"position", kept.position}, {"facts", std::move(facts)}};
}

AllKept kept_of(const Json& json) {
    AllKept all;
    for (const auto& [resource, one] : json.items()) {
        watch::Kept& kept = all[resource];
        kept.position = one.at("position").get<std::string>();
        for (const auto& [name, fact] : one.at("facts").items())
            kept.facts.emplace(settings::unescape_name(name), fact.get<std::string>());
    }
    return all;
}

std::uint64_t restore_all(const std::string& text, watch::Judge& judge, AllKept& kept) {
    const auto json = base::parse_json(text);
    if (json.at("schema") != kSchema) throw std::out_of_range("schema");
    // Times since boot mean nothing after another one.
    const bool same_boot = json.at("boot") == base::boot_id();
    watch::Judge restored;
    for (const auto& thing : json.at("things"))
        restore(thing, same_boot, restored);
    // A state of before logs were read has none.
    AllKept remembered = json.contains("kept") ? kept_of(json.at("kept")) : AllKept();
    const auto seq = json.at("seq").get<std::uint64_t>();
    judge = std::move(restored);
    kept = std::move(remembered);
    return seq;
}

}  // namespace

std::uint64_t load_state(const std::string& folder_name, watch::Judge& judge, AllKept& kept,
                         const std::function<void(const std::string&)>& say) {
    const auto folder = base::OwnFolder::open(folder_name);
    const auto file = folder ? folder.open_file(kName, O_RDONLY) : base::UniqueFd();
    std::string text;
    if (!file || !base::read_at_most(file.get(), kMostBytes, text)) return 0;
    try {
        return restore_all(text, judge, kept);
    } catch (const std::exception&) {
        const auto aside = folder.keep_aside(kName);
        say(std::string(kName) + " cannot be understood, all levels begin at unknown" +
            (aside ? "; it is kept as " + *aside : ""));
        if (aside) folder.remove(kName);
        return 0;
    }
}

bool save_state(const std::string& folder, const watch::Judge& judge, const AllKept& kept,
                std::uint64_t seq) {
    Json things = Json::array();
    for (const auto& [name, thing] : judge.things())
        things.push_back(json_of(name, thing));
    Json remembered = Json::object();
    for (const auto& [resource, one] : kept)
        remembered[resource] = json_of(one);
    const Json json{{"schema", kSchema},
                    {"boot", base::boot_id()},
                    {"seq", seq},
                    {"things", std::move(things)},
                    {"kept", std::move(remembered)}};
    return store::replace_file(folder + '/' + kName, base::json_text(json, 1) + '\n');
}

}  // namespace zel::tell
