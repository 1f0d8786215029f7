// SPDX-License-Identifier: GPL-3.0-or-later
// The reader of the command line's documents.
#include "ctl/document.h"
#include "ctl/plan.h"
#include "watching.h"

namespace zel::test {

/// What a document makes of the settings goes round; one that is not valid makes nothing of them.
void read_document(Input text) {
    static const auto& machine = *new ctl::Machine(ctl::Machine::sample());
    ctl::Problems problems;
    const ctl::Document document = ctl::parse_document(text, problems);
    require(document.whole || !problems.empty(), "a reason");
    if (!document.whole) return;
    const ctl::Plan plan = ctl::make_plan(machine, document.wishes, ctl::Exit::invalid, problems);
    require((plan.exit == ctl::Exit::done) || !problems.empty(), "a reason");
    if (plan.exit != ctl::Exit::done) {
        require(plan.changes.empty(), "nothing to write");
        return;
    }
    ctl::Json wanted = ctl::Json::object();
    std::vector<const ctl::Setting*> all;
    for (const ctl::Setting& setting : machine.settings())
        if (!setting.kind->read_only) all.push_back(&setting);
    wanted["settings"] = ctl::nested(all, plan.wanted, true);
    ctl::Problems none;
    const ctl::Document again = ctl::parse_document(ctl::document_text(wanted), none);
    const ctl::Plan same = ctl::make_plan(machine, again.wishes, ctl::Exit::invalid, none);
    require(none.empty() && same.changes.size() == plan.changes.size(), "the same changes");
}

}  // namespace zel::test
