// SPDX-License-Identifier: GPL-3.0-or-later
// The resources whose settings are kept in the registry: CPU, event log, LAN, rack, shutdown, SNMP, watchdog, the agent.
#include <algorithm>
#include <cerrno>
#include <cstring>

#include "resource.h"
#include "settings/registry_values.h"
#include "store/registry.h"
#include "system/cpu_count.h"

namespace zel::ctl {
namespace {

namespace registry = store::registry;
using settings::Type;

/// One of the two settings that a byte of actions holds.
template <class Of>
Setting action_setting(const Path& path, const settings::ActionPart& part, std::uint32_t fallback, Of of) {
    const auto kind =
        std::make_shared<Kind>(Kind{.type = Kind::Type::word,
                                    .words = {part.choices.begin(), part.choices.begin() + part.count},
                                    .meaning = part.meaning});
    return {
        .path = path,
        .kind = kind,
        .fallback = part.choice_of(fallback),
        .get = [of, &part](
                   const Values& values) { return part.choice_of(static_cast<std::uint32_t>(of(values))); },
        .put =
            [of, kind, &part](Values& values, const Scalar& value) {
                const auto word = std::ranges::find(kind->words, std::get<std::string>(value));
                const auto bits = part.bits_of(static_cast<std::size_t>(word - kind->words.begin()));
                auto& code = of(values);
                code = static_cast<std::remove_cvref_t<decltype(code)>>(
                    (static_cast<std::uint32_t>(code) & ~part.mask) | bits);
            }};
}

/// The settings of a table, for the record that `of(values)` refers to.
template <class Table, class Of>
void list_table(Contents& contents, const Table& table, const Path& at, Of of) {
    const std::string before = at.rest.empty() ? "" : at.rest + '.';
    for (const auto& one : table.fields) {
        const settings::Value& value = one.value;
        const auto field = [ of, member = one.member ](auto& values) -> auto& {
            return of(values).*member;
        };
        const auto path = [&](const char* words) { return Path{at.resource, at.object, before + words}; };
        if (value.type == Type::actions) {
            for (const auto& part : settings::kActionParts)
                contents.settings.push_back(action_setting(path(part.words), part, value.fallback, field));
            continue;
        }
        const Scalar fallback =
            value.type == Type::flag ? Scalar(value.fallback != 0) : Scalar(std::int64_t{value.fallback});
        contents.settings.push_back(number_setting(path(value.words), kind_of(value), fallback, field));
    }
}

void list_text(Contents& contents, const settings::Text& text, Kind kind, std::string Values::*member) {
    kind.meaning = text.meaning;
    contents.settings.push_back(
        {.path = *parse_path(text.words),
         .kind = std::make_shared<Kind>(std::move(kind)),
         .fallback = text.fallback,
         .get = [member](const Values& values) { return Scalar(values.*member); },
         .put = [member](Values& values,
                         const Scalar& value) { values.*member = std::get<std::string>(value); }});
}

Kind text_kind(std::size_t least, const settings::Text& text) {
    return {.type = Kind::Type::text,
            .least = static_cast<std::int64_t>(least),
            .greatest = static_cast<std::int64_t>(text.longest)};
}

/// What is kept, or what it would be without.
template <class Table>
typename Table::Record record_of(const Contents& contents, const Table& table, const std::string& key) {
    return contents.defaults ? settings::default_record(table) : settings::read_record(table, key);
}

std::string kept_text(const Contents& contents, const settings::Text& text) {
    return contents.defaults ? text.fallback : settings::read_text(text);
}

bool is_readable(const Contents& contents, Problems& problems) {
    if (contents.defaults || registry::check() == store::Status::ok) return true;
    problems.push_back({"", registry::path() + ": cannot be read"});
    return false;
}

/// Puts the fields that differ; false when one cannot be.
template <class Table>
bool put_record(registry::Edit& edit, const Table& table, const std::string& key,
                const typename Table::Record& before, const typename Table::Record& wanted) {
    return std::ranges::all_of(table.fields, [&](const auto& field) {
        return before.*field.member == wanted.*field.member ||
               edit.set(key, field.value.name, static_cast<std::uint32_t>(wanted.*field.member));
    });
}

template <class Table>
bool differs(const Table& table, const typename Table::Record& one, const typename Table::Record& other) {
    return std::ranges::any_of(table.fields,
                               [&](const auto& field) { return one.*field.member != other.*field.member; });
}

bool put_cpus(registry::Edit& edit, const Values& before, const Values& wanted) {
    bool fits = put_record(edit, settings::kCpuCycle, settings::kCpuCycle.key, before.cycle, wanted.cycle);
    for (std::size_t row = 0; fits && row < wanted.cpus.size(); ++row)
        fits = put_record(edit, settings::kCpuRow, settings::cpu_row_key(static_cast<int>(row)),
                          before.cpus[row], wanted.cpus[row]);
    return fits;
}

/// With the number of times that they were written, which tells those that arm a timer who wrote them.
template <class Table>
bool put_timer(registry::Edit& edit, const Table& table, const typename Table::Record& before,
               const typename Table::Record& wanted) {
    if (!differs(table, before, wanted)) return true;
    return put_record(edit, table, table.key, before, wanted) && settings::count_generation(edit, table.key);
}

bool put_text(registry::Edit& edit, const settings::Text& text, const std::string& before,
              const std::string& wanted) {
    return before == wanted || edit.set(text.key, text.name, wanted);
}

template <class Table>
bool put_table(registry::Edit& edit, const Table& table, const typename Table::Record& before,
               const typename Table::Record& wanted) {
    return put_record(edit, table, table.key, before, wanted);
}

bool put_all(registry::Edit& edit, const Values& before, const Values& wanted) {
    return put_cpus(edit, before, wanted) && put_table(edit, settings::kLan, before.lan, wanted.lan) &&
           put_table(edit, settings::kEventlog, before.eventlog, wanted.eventlog) &&
           put_timer(edit, settings::kShutdown, before.shutdown, wanted.shutdown) &&
           put_timer(edit, settings::kWatchdog, before.watchdog, wanted.watchdog) &&
           put_table(edit, settings::kSnmp, before.snmp, wanted.snmp) &&
           put_text(edit, settings::kCommunity, before.community, wanted.community) &&
           put_text(edit, settings::kRackName, before.rack, wanted.rack) &&
           put_text(edit, settings::kVersion, before.version, wanted.version);
}

}  // namespace

std::shared_ptr<const Kind> kind_of(const settings::Value& value, const std::string& meaning) {
    return std::make_shared<Kind>(
        Kind{.type = value.type == Type::flag ? Kind::Type::flag : Kind::Type::number,
             .least = value.least,
             .greatest = value.greatest,
             .unit = value.unit,
             .meaning = meaning.empty() ? value.meaning : meaning});
}

Exit read_registry(Contents& contents, Problems& problems) {
    if (!is_readable(contents, problems)) return Exit::failed;
    const auto record = [&](const auto& table) { return record_of(contents, table, table.key); };
    Values& values = contents.values;
    values.lan = record(settings::kLan);
    values.eventlog = record(settings::kEventlog);
    values.shutdown = record(settings::kShutdown);
    values.watchdog = record(settings::kWatchdog);
    values.snmp = record(settings::kSnmp);
    settings::mask(values.snmp);
    values.community = kept_text(contents, settings::kCommunity);
    values.rack = kept_text(contents, settings::kRackName);
    values.version = kept_text(contents, settings::kVersion);
    return Exit::done;
}

Exit read_cpu(Contents& contents, Problems& problems) {
    if (!is_readable(contents, problems)) return Exit::failed;
    contents.values.cycle = record_of(contents, settings::kCpuCycle, settings::kCpuCycle.key);
    const int cpus = system::count_cpus();
    for (int row = 0; row <= cpus; ++row) {
        const auto& table = row == 0 ? settings::kCpuTotal : settings::kCpuRow;
        contents.cpus.push_back(row == 0 ? settings::cpu_row_name(0) : std::to_string(row));
        contents.values.cpus.push_back(record_of(contents, table, settings::cpu_row_key(row)));
    }
    return Exit::done;
}

void list_cpu(Contents& contents) {
    list_table(
        contents, settings::kCpuCycle, {"cpu"}, [](auto& values) -> auto& { return values.cycle; });
    for (std::size_t row = 0; row < contents.cpus.size(); ++row)
        list_table(
            contents, row == 0 ? settings::kCpuTotal : settings::kCpuRow,
            {"cpu", "", contents.cpus[row]}, [row](auto& values) -> auto& { return values.cpus[row]; });
}

void list_lan(Contents& contents) {
    list_table(
        contents, settings::kLan, {"lan"}, [](auto& values) -> auto& { return values.lan; });
}

void list_eventlog(Contents& contents) {
    list_table(
        contents, settings::kEventlog, {"eventlog"}, [](auto& values) -> auto& { return values.eventlog; });
}

void list_shutdown(Contents& contents) {
    list_table(
        contents, settings::kShutdown, {"shutdown"}, [](auto& values) -> auto& { return values.shutdown; });
}

void list_watchdog(Contents& contents) {
    list_table(
        contents, settings::kWatchdog, {"watchdog"}, [](auto& values) -> auto& { return values.watchdog; });
}

void list_snmp(Contents& contents) {
    list_table(
        contents, settings::kSnmp, {"snmp"}, [](auto& values) -> auto& { return values.snmp; });
    Kind kind = text_kind(1, settings::kCommunity);
    kind.secret = true;
    list_text(contents, settings::kCommunity, std::move(kind), &Values::community);
}

void list_rack(Contents& contents) {
    list_text(contents, settings::kRackName, text_kind(0, settings::kRackName), &Values::rack);
}

void list_agent(Contents& contents) {
    list_text(contents, settings::kVersion,
              {.type = Kind::Type::word, .words = {settings::kVersions.begin(), settings::kVersions.end()}},
              &Values::version);
}

void judge_cpu(const Contents& contents, const Values& wanted, Problems& problems) {
    for (std::size_t row = 0; row < wanted.cpus.size(); ++row) {
        const CpuThresholdRow& one = wanted.cpus[row];
        if (one.enable == 0 || !differs(settings::kCpuRow, contents.values.cpus[row], one)) continue;
        const int faults = settings::judge(one);
        const std::string path = "cpu." + contents.cpus[row];
        if ((faults & CPU_TEST_FATAL_BIG) != 0) problems.push_back({path + ".fatal", "is above 100"});
        if ((faults & CPU_TEST_WARNING_SMALL) != 0) problems.push_back({path + ".warning", "is below 1"});
        if ((faults & CPU_TEST_ORDER) != 0)
            problems.push_back(
                {path, "must fall from fatal.report over fatal.reset and warning.report to warning.reset"});
    }
}

void judge_snmp(const Contents& contents, const Values& wanted, Problems& problems) {
    if (differs(settings::kSnmp, contents.values.snmp, wanted.snmp) && wanted.snmp.permit != 0 &&
        wanted.snmp.enable == 0)
        problems.push_back({"snmp.permit", "can only be true while snmp.enable is"});
}

Exit write_registry(Contents& contents, const Values& wanted, Problems& failure) {
    const auto edit = [&](registry::Edit& file) { return put_all(file, contents.values, wanted); };
    if (settings::change_values("zelctl", edit)) return Exit::done;
    failure.push_back({"", registry::path() + ": " + std::strerror(errno)});
    return Exit::failed;
}

}  // namespace zel::ctl
