// SPDX-License-Identifier: GPL-3.0-or-later
#include "journal.h"

#include <array>

#include "system/journal.h"

namespace zel::tell {
namespace {

/// By kind of event, for those who look for one (journalctl MESSAGE_ID=...).
constexpr std::array kMessageIds{"5f8e0b8b0b1c4f6c9f0d3f0a7a2f9d01", "a9c6f2d16a0f4b0e8d8e0c4f2b6d7e02",
                                 "d2b7e9a4c1f34f7b8a5d6c3e0f1b2a03", "7c4e1d9f8b2a4c6e9f0a1b3d5e7c9f04",
                                 "3b9d7f5e1c8a4e2f8d6b4a2c0e9f7d05", "e6a4c2f0b8d64c1e9a7f5d3b1c0e8a06",
                                 "91d0c5e7a3b84f2c8e6d4a1b7f9c3e07", "6633a7c4f54140c9a65cc6d806c7dab2"};

}  // namespace

void send_to_journal(const Event& event) {
    system::JournalEntry entry;
    entry.add("MESSAGE", event.message);
    entry.add("MESSAGE_ID", kMessageIds.at(static_cast<std::size_t>(event.what)));
    entry.add("PRIORITY", std::to_string(priority_of(event)));
    entry.add("SYSLOG_IDENTIFIER", "zelagent");
    entry.add("ZEL_SEQ", std::to_string(event.seq));
    entry.add("ZEL_EVENT", what_name(event.what));
    entry.add("ZEL_RESOURCE", event.resource);
    entry.add("ZEL_OBJECT", event.object);
    if (!event.id.empty()) entry.add("ZEL_ID", event.id);
    if (!event.kind.empty()) entry.add("ZEL_KIND", event.kind);
    entry.add("ZEL_FROM", level_name(event.from));
    entry.add("ZEL_TO", level_name(event.to));
    if (event.value) entry.add("ZEL_VALUE", std::to_string(*event.value));
    if (!event.unit.empty()) entry.add("ZEL_UNIT", event.unit);
    if (event.limit) entry.add("ZEL_LIMIT", std::to_string(*event.limit));
    entry.send();
}

}  // namespace zel::tell
