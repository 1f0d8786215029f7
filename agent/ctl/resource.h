// SPDX-License-Identifier: GPL-3.0-or-later
// How each resource's settings are listed, read, judged and written.
#pragma once

#include <algorithm>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "exit.h"
#include "setting.h"

namespace zel::ctl {

/// What was read of the machine.
struct Contents {
    Values values{};
    std::vector<std::string> cpus{};  ///< The names of its rows: "TOTAL", "1".
    std::vector<std::string>
        disks{};  ///< As the kernel names them, in the order of `values`; so are the next.
    std::vector<std::string> filesystems{};  ///< Paths.
    settings::FsSizes sizes{};
    std::vector<bmc::SensorState> sensors{};
    std::vector<Setting> settings{};
    /// Objects' further names, by resource and name; empty where a name stands for more than one.
    std::map<std::pair<std::string, std::string>, std::string> aliases{};
    bool defaults = false;  ///< Settings are not read.
};

/// A row of the table in resource.cpp.
struct Resource {
    const char* name;
    const char* meaning;
    bool bracketed;   ///< Its objects' names stand in brackets.
    bool reloaded;    ///< The service is to take up what was written.
    bool controller;  ///< The management controller has them, for which one has to wait.
    Exit (*read)(Contents& contents, Problems& problems);
    /// Lists the settings of what was read.
    void (*list)(Contents& contents);
    void (*judge)(const Contents& contents, const Values& wanted, Problems& problems);
    /// Writes what differs, of all resources that have the same function; nothing is done when nothing does.
    /// @param failure  What could not be written.
    /// @return done, or failed: it stands as it was; of sensors see write_sensors.
    Exit (*write)(Contents& contents, const Values& wanted, Problems& failure);
};
std::span<const Resource> resources();
/// Null for a name that no resource has.
const Resource* resource_of(const std::string& name);

/// True for root, and for the owner of a private agent.
bool may_change();

// The rows' functions.
Exit read_cpu(Contents& contents, Problems& problems);
Exit read_registry(Contents& contents, Problems& problems);
Exit read_storage(Contents& contents, Problems& problems);
Exit read_filesystems(Contents& contents, Problems& problems);
Exit read_raid(Contents& contents, Problems& problems);
Exit read_temperatures(Contents& contents, Problems& problems);
Exit read_voltages(Contents& contents, Problems& problems);
void list_agent(Contents& contents);
void list_cpu(Contents& contents);
void list_eventlog(Contents& contents);
void list_filesystem(Contents& contents);
void list_lan(Contents& contents);
void list_rack(Contents& contents);
void list_raid(Contents& contents);
void list_shutdown(Contents& contents);
void list_snmp(Contents& contents);
void list_storage(Contents& contents);
void list_temperature(Contents& contents);
void list_voltage(Contents& contents);
void list_watchdog(Contents& contents);
void judge_cpu(const Contents& contents, const Values& wanted, Problems& problems);
void judge_filesystem(const Contents& contents, const Values& wanted, Problems& problems);
void judge_sensors(const Contents& contents, const Values& wanted, Problems& problems);
void judge_snmp(const Contents& contents, const Values& wanted, Problems& problems);
void judge_storage(const Contents& contents, const Values& wanted, Problems& problems);
Exit write_registry(Contents& contents, const Values& wanted, Problems& failure);
Exit write_storage(Contents& contents, const Values& wanted, Problems& failure);
Exit write_filesystems(Contents& contents, const Values& wanted, Problems& failure);
Exit write_raid(Contents& contents, const Values& wanted, Problems& failure);
/// One Set and one Get for each sensor that is to change. Goes on after a refusal.
/// @return done, in_part or no_controller (nothing was written).
Exit write_sensors(Contents& contents, const Values& wanted, Problems& failure);

/// What a number of the settings' tables may be.
std::shared_ptr<const Kind> kind_of(const settings::Value& value, const std::string& meaning = {});

/// A setting that `of(values)` refers to, as a number or a flag.
template <class Of>
Setting number_setting(const Path& path, const std::shared_ptr<const Kind>& kind, const Scalar& fallback,
                       Of of) {
    const bool flag = kind->type == Kind::Type::flag;
    return {.path = path,
            .kind = kind,
            .fallback = fallback,
            .get =
                [of, flag](const Values& values) {
                    return flag ? Scalar(of(values) != 0) : Scalar(static_cast<std::int64_t>(of(values)));
                },
            .put =
                [of](Values& values, const Scalar& value) {
                    auto& number = of(values);
                    const auto* set = std::get_if<bool>(&value);
                    number = static_cast<std::remove_cvref_t<decltype(number)>>(
                        set != nullptr ? std::int64_t{*set} : std::get<std::int64_t>(value));
                }};
}

/// A setting that is one of some words: `of(values)` counts from `first`.
template <class Of>
Setting word_setting(const Path& path, const std::shared_ptr<const Kind>& kind, const Scalar& fallback,
                     std::int32_t first, Of of) {
    return {.path = path,
            .kind = kind,
            .fallback = fallback,
            .get =
                [of, first, kind](const Values& values) {
                    return kind->words.at(static_cast<std::size_t>(of(values) - first));
                },
            .put =
                [of, first, kind](Values& values, const Scalar& value) {
                    const auto word = std::ranges::find(kind->words, std::get<std::string>(value));
                    of(values) = static_cast<std::int32_t>(first + (word - kind->words.begin()));
                }};
}

}  // namespace zel::ctl
