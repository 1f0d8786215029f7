// SPDX-License-Identifier: GPL-3.0-or-later
#include "machine.h"

#include <algorithm>
#include <limits>
#include <numeric>

#include "client/reset_service.h"
#include "store/registry.h"

namespace zel::ctl {
namespace {

/// How many characters have to be changed, added or left out to make one text of the other.
std::size_t distance(std::string_view one, std::string_view other) {
    std::vector<std::size_t> row(other.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (const char c : one) {
        std::size_t diagonal = row.front()++;
        for (std::size_t k = 0; k < other.size(); ++k) {
            const std::size_t replaced = diagonal + (c == other[k] ? 0 : 1);
            diagonal = row[k + 1];
            row[k + 1] = std::min({row[k] + 1, row[k + 1] + 1, replaced});
        }
    }
    return row.back();
}

Contents sample_contents() {
    Contents contents{.defaults = true};
    Problems none;
    read_registry(contents, none);
    contents.cpus = {"TOTAL", "N"};
    contents.values.cpus.resize(2);
    contents.disks = {"DEVICE"};
    contents.values.disks = {settings::storage_defaults()};
    contents.filesystems = {"PATH"};
    contents.values.filesystems = {settings::filesystem_defaults(std::nullopt)};
    for (const auto kind : {bmc::Kind::temperature, bmc::Kind::voltage}) {
        bmc::SensorState state{.settable = true, .monitor = 1};
        state.sensor.kind = kind;
        state.sensor.settable = std::numeric_limits<std::uint8_t>::max();
        contents.sensors.push_back(std::move(state));
        contents.values.sensors.emplace_back();
    }
    return contents;
}

}  // namespace

Machine Machine::sample() {
    Machine machine;
    machine.contents_ = sample_contents();
    for (const Resource& resource : resources())
        machine.list(resource);
    for (Setting& setting : machine.contents_.settings)
        if (setting.path.object == "0.0") setting.path.object = "LUN.NUMBER";
    return machine;
}

Exit Machine::read(const Names& names, Problems& problems, bool defaults) {
    contents_.defaults = defaults;
    const store::registry::Pinned pinned;
    Exit exit = Exit::done;
    std::set<Exit (*)(Contents&, Problems&)> done;
    for (const Resource& resource : resources()) {
        if (!names.contains(resource.name)) continue;
        if (done.insert(resource.read).second) {
            const Exit one = resource.read(contents_, problems);
            if (one != Exit::done) exit = one;
            if (one == Exit::failed) continue;
        }
        list(resource);
    }
    index_.clear();
    return exit;
}

void Machine::list(const Resource& resource) {
    const std::size_t first = contents_.settings.size();
    resource.list(contents_);
    places_[resource.name] = {first, contents_.settings.size()};
}

const Path& Machine::own_path(const Path& path, Path& room) const {
    if (contents_.aliases.empty()) return path;
    const auto alias = contents_.aliases.find({path.resource, path.object});
    if (alias == contents_.aliases.end() || alias->second.empty()) return path;
    room = path;
    room.object = alias->second;
    return room;
}

std::span<const Setting> Machine::of(const std::string& resource) const {
    const auto place = places_.find(resource);
    if (place == places_.end()) return {};
    const auto& [first, end] = place->second;
    return std::span(contents_.settings).subspan(first, end - first);
}

std::vector<const Setting*> Machine::below(const Path& path) const {
    Path room;
    const Path& own = own_path(path, room);
    std::vector<const Setting*> found;
    for (const Setting& setting : of(path.resource))
        if (holds(own, setting.path)) found.push_back(&setting);
    return found;
}

void Machine::make_index() const {
    for (std::size_t i = 0; i < contents_.settings.size(); ++i)
        index_.try_emplace(text_of(contents_.settings[i].path), i);
}

const Setting* Machine::find(const Path& path) const {
    Path room;
    const Path& own = own_path(path, room);
    if (!is_next(own)) {
        if (index_.empty()) make_index();
        const auto found = index_.find(text_of(own));
        if (found == index_.end()) return nullptr;
        next_ = found->second;
    }
    return &contents_.settings[next_++];
}

bool Machine::is_next(const Path& path) const {
    // A document that was exported here has them in their order, resource by resource, without a secret.
    const auto place = places_.find(path.resource);
    if (place == places_.end()) return false;
    for (const std::size_t candidate : {next_, next_ + 1, place->second.first}) {
        if (candidate >= contents_.settings.size() || contents_.settings[candidate].path != path) continue;
        next_ = candidate;
        return true;
    }
    return false;
}

std::string Machine::nearest(const std::string& path) const {
    std::string nearest;
    std::size_t least = path.size() / 3 + 2;  // what is further off helps nobody
    const auto compare = [&](std::string known) {
        const std::size_t far = distance(path, known);
        if (far >= least) return;
        least = far;
        nearest = std::move(known);
    };
    for (const Resource& resource : resources())
        compare(resource.name);
    for (const Setting& setting : contents_.settings)
        compare(text_of(setting.path));
    return nearest;
}

std::vector<Change> Machine::changes(const Values& wanted) const {
    std::vector<Change> changes;
    for (const Setting& setting : contents_.settings) {
        Scalar from = setting.get(contents_.values);
        Scalar to = setting.get(wanted);
        if (from != to) changes.push_back({&setting, std::move(from), std::move(to)});
    }
    return changes;
}

void Machine::judge(const Values& wanted, Problems& problems) const {
    std::set<void (*)(const Contents&, const Values&, Problems&)> done;
    for (const Resource& resource : resources())
        if (resource.judge != nullptr && done.insert(resource.judge).second)
            resource.judge(contents_, wanted, problems);
}

Exit Machine::write(const Values& wanted, std::optional<store::HeldLocks>& locks, Problems& problems) {
    Names changed;
    for (const Change& change : changes(wanted))
        changed.insert(change.setting->path.resource);
    bool written = false;
    Exit exit = write_changed(false, changed, wanted, problems, written);
    if (exit != Exit::done) return exit;
    locks.reset();
    exit = write_changed(true, changed, wanted, problems, written);
    for (const Resource& resource : resources()) {
        if (!resource.reloaded || !changed.contains(resource.name) || client::reset_service(resource.name))
            continue;
        problems.push_back({"", "the service was not there to take the settings up; it will when it starts"});
        return exit == Exit::done ? Exit::no_service : exit;
    }
    return exit;
}

Exit Machine::write_changed(bool controller, const Names& changed, const Values& wanted, Problems& problems,
                            bool& written) {
    std::set<Exit (*)(Contents&, const Values&, Problems&)> done;
    for (const Resource& resource : resources()) {
        if (resource.controller != controller || !changed.contains(resource.name) ||
            !done.insert(resource.write).second)
            continue;
        const Exit exit = resource.write(contents_, wanted, problems);
        if (exit != Exit::done) return written ? Exit::in_part : exit;
        written = true;
    }
    return Exit::done;
}

std::string Machine::tag(const Names& names, const Values& values) const {
    std::uint64_t hash = 0xcbf29ce484222325;  // FNV-1a: finds changes, and is not meant against more
    const auto add = [&hash](std::string_view text) {
        for (const char c : text)
            hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
    };
    for (const std::string& name : names) {
        for (const Setting& setting : of(name)) {
            if (setting.kind->secret) continue;
            add(setting.path.resource);
            add("[");
            add(setting.path.object);
            add("].");
            add(setting.path.rest);
            add(setting.kind->type == Kind::Type::text ? "=text:" : "=");
            add(value_text(setting.get(values)));
            add("\n");
        }
    }
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text;
    for (int shift = 60; shift >= 0; shift -= 4)
        text += kDigits[hash >> static_cast<unsigned>(shift) & 0xFU];
    return text;
}

}  // namespace zel::ctl
