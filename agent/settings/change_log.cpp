// SPDX-License-Identifier: GPL-3.0-or-later
#include "change_log.h"

#include <algorithm>
#include <array>
#include <functional>
#include <optional>
#include <string_view>

#include "store/registry.h"
#include "system/journal.h"
#include "values.h"
#include "zel/trace.h"

namespace zel::settings {
namespace {

constexpr const char* kModule = "change_log";
constexpr const char* kMessageId = "c8d6a4f2e0b94d3a8c7e5f1b3d9a6e07";
constexpr const char* kHidden = "(hidden)";
constexpr std::size_t kMostTold = 1000;

using Change = store::KeyFile::Change;
using Tell = std::function<void(ToldChange)>;

std::string told(const Value& value, const std::string& stored) {
    if (value.type == Type::flag) return stored == "0" ? "false" : "true";
    return stored;
}

/// Two settings share the byte of actions.
void tell_actions(const std::string& words, std::int64_t before, std::int64_t after, const Tell& tell) {
    for (const ActionPart& part : kActionParts) {
        const char* const was = part.choice_of(static_cast<std::uint32_t>(before));
        const char* const is = part.choice_of(static_cast<std::uint32_t>(after));
        if (was != is) tell({words + '.' + part.words, was, is});
    }
}

template <class Table>
bool tell_field(const Table& table, const std::string& key, const std::string& words, const Change& change,
                const Tell& tell) {
    if (!store::registry::is_same_key(change.group, key)) return false;
    const auto field = std::ranges::find(table.fields, change.key,
                                         [](const auto& one) { return std::string_view(one.value.name); });
    if (field == table.fields.end()) return false;
    const Value& value = field->value;
    const std::string before = change.before ? without_type(*change.before) : std::to_string(value.fallback);
    const std::string after = without_type(change.after);
    if (value.type == Type::actions) {
        tell_actions(words, store::parse_int(before).value_or(value.fallback),
                     store::parse_int(after).value_or(value.fallback), tell);
    } else if (before != after) {
        tell({words + '.' + value.words, told(value, before), told(value, after)});
    }
    return true;
}

/// The row of a CPU's key; nothing for another key.
std::optional<std::string> cpu_of(const std::string& key) {
    const std::string name = key.substr(key.find_last_of("/\\") + 1);
    constexpr std::string_view kCpu = "CPU";
    if (!store::registry::is_same_key(key, kCpuCycle.key + ('/' + name))) return std::nullopt;
    return name.starts_with(kCpu) ? name.substr(kCpu.size()) : name;
}

void tell_registry(const Change& change, const Tell& tell) {
    for (const Text& text : {kCommunity, kRackName, kVersion}) {
        if (!store::registry::is_same_key(change.group, text.key) || change.key != text.name) continue;
        const bool hidden = text.name == std::string_view(kCommunity.name);
        tell({text.words,
              hidden          ? kHidden
              : change.before ? without_type(*change.before)
                              : text.fallback,
              hidden ? kHidden : without_type(change.after)});
        return;
    }
    const auto in = [&](const auto& table) {
        return tell_field(table, table.key, table.words, change, tell);
    };
    if (in(kCpuCycle) || in(kLan) || in(kShutdown) || in(kWatchdog) || in(kSnmp) || in(kEventlog)) return;
    if (const auto cpu = cpu_of(change.group))
        tell_field(*cpu == "TOTAL" ? kCpuTotal : kCpuRow, change.group, "cpu." + *cpu, change, tell);
}

std::string message_of(const ToldChange& change) {
    return change.path + ": " + change.before + " -> " + change.after;
}

void trace_change(const ToldChange& change) {
    ZEL_TRACE(TRACE_LEVEL_INFO, "%s", message_of(change).c_str());
}

/// False where there is no journal to take it.
bool send_change(const ToldChange& change) {
    system::JournalEntry entry;
    entry.add("MESSAGE", message_of(change));
    entry.add("MESSAGE_ID", kMessageId);
    entry.add("PRIORITY", "5");
    entry.add("SYSLOG_IDENTIFIER", "zelagent");
    entry.add("ZEL_EVENT", "change");
    entry.add("ZEL_RESOURCE", change.path.substr(0, change.path.find_first_of(".[")));
    entry.add("ZEL_PATH", change.path);
    entry.add("ZEL_OLD", change.before);
    entry.add("ZEL_NEW", change.after);
    return entry.send();
}

/// Gives each change to `tell` until too many were told: naming thousands takes longer than writing them.
template <class Each>
void tell_all(Changed changes, const Each& each) {
    std::size_t told_so_far = 0;
    bool journal = true;
    const Tell tell = [&](const ToldChange& change) {
        ++told_so_far;
        trace_change(change);
        journal = journal && send_change(change);  // where there is none it is asked once
    };
    for (; !changes.empty() && told_so_far < kMostTold; changes = changes.subspan(1))
        each(changes.front(), tell);
    if (!changes.empty()) ZEL_TRACE(TRACE_LEVEL_INFO, "%zu further changes are not told.", changes.size());
}

}  // namespace

std::string without_type(const std::string& stored) {
    return stored.substr(stored.find(':') + 1);
}

void log_change(const ToldChange& change) {
    trace_change(change);
    send_change(change);
}

void log_registry_changes(Changed changes) {
    tell_all(changes, tell_registry);
}

void log_file_changes(const ThresholdFile& file, Changed changes) {
    std::string group;
    std::string holder = file.resource;  // of the changes of one group, which stand together
    tell_all(changes, [&](const Change& change, const Tell& tell) {
        if (change.key == kPresentKey) return;
        if (group != change.group) {
            group = change.group;
            holder = file.resource;
            if (const auto name = name_of_group(group, file.naming))
                holder.append("[").append(escape_name(*name)).append("]");
        }
        tell({holder + '.' + change.key, change.before.value_or("(not set)"), change.after});
    });
}

}  // namespace zel::settings
