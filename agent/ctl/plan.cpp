// SPDX-License-Identifier: GPL-3.0-or-later
#include "plan.h"

#include <algorithm>

#include "bmc/settings.h"

namespace zel::ctl {
namespace {

/// One wish; its setting when there is one.
const Setting* take(const Machine& machine, const Wish& wish, Exit unknown, Plan& plan, Problems& problems) {
    const Setting* const setting = machine.find(wish.path);
    if (setting == nullptr) {
        const Exit exit = tell_unknown(machine, text_of(wish.path), problems, unknown);
        if (plan.exit == Exit::done || exit == Exit::invalid) plan.exit = exit;
        return nullptr;
    }
    if (setting->get(machine.values()) == wish.value) return setting;
    const std::string fault = fault_of(*setting->kind, wish.value);
    if (fault.empty()) {
        setting->put(plan.wanted, wish.value);
    } else {
        problems.push_back({text_of(wish.path), fault});
        plan.exit = Exit::invalid;
    }
    return setting;
}

void tell_twice(const Wish& wish, Plan& plan, Problems& problems) {
    const Problem twice{text_of(wish.path), "is given twice"};
    if (std::ranges::find(problems, twice) == problems.end()) problems.push_back(twice);
    plan.exit = Exit::invalid;
}

}  // namespace

Plan make_plan(const Machine& machine, std::span<const Wish> wishes, Exit unknown, Problems& problems) {
    Plan plan{.wanted = machine.values(), .changes = {}};
    std::vector<bool> seen(machine.settings().size());
    bool names_permit = false;
    for (const Wish& wish : wishes) {
        const Setting* const setting = take(machine, wish, unknown, plan, problems);
        if (setting != nullptr) {
            const auto place = static_cast<std::size_t>(setting - machine.settings().data());
            if (seen[place]) tell_twice(wish, plan, problems);
            seen[place] = true;
        }
        names_permit = names_permit || (wish.path.resource == "snmp" && wish.path.rest == "permit");
    }
    // Without SNMP nothing is permitted through it: who switches it off need not say so.
    if (!names_permit) settings::mask(plan.wanted.snmp);
    const std::size_t known = problems.size();
    machine.judge(plan.wanted, problems);
    if (problems.size() > known) plan.exit = Exit::invalid;
    if (plan.exit == Exit::done) plan.changes = machine.changes(plan.wanted);
    return plan;
}

Exit tell_unknown(const Machine& machine, const std::string& path, Problems& problems, Exit unknown) {
    const auto parsed = parse_path(path);
    if (path.empty()) {
        problems.push_back({"", "a path is empty"});
        return unknown;
    }
    if (parsed && !parsed->object.empty() && machine.below({parsed->resource, parsed->object}).empty()) {
        problems.push_back({path, "is not on this machine"});
        return Exit::no_such_object;
    }
    const std::string nearest = machine.nearest(path);
    problems.push_back({path, "is unknown" + (nearest.empty() ? "" : "; did you mean " + nearest + "?")});
    return unknown;
}

Exit add_resources(std::span<const std::string> paths, Names& names, Problems& problems) {
    Exit exit = Exit::done;
    for (const std::string& text : paths) {
        const auto path = parse_path(text);
        if (path && resource_of(path->resource) != nullptr) {
            names.insert(path->resource);
        } else {
            exit = tell_unknown(Machine::sample(), text, problems);
        }
    }
    return exit;
}

Names all_resources() {
    Names names;
    for (const Resource& resource : resources())
        if (!resource.controller || bmc::is_present()) names.insert(resource.name);
    return names;
}

}  // namespace zel::ctl
