// SPDX-License-Identifier: GPL-3.0-or-later
// The settings that the service holds, by resource. A resource is one row of the table in resources.cpp, and
// one file with its reader where it is more than a record in the registry.
#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "settings/registry_values.h"

namespace zel::service {

/// What an administrator has changed, one line per value, such as "TOTAL FatalReport 95 -> 97".
using Changes = std::vector<std::string>;

/// Adds a line when the texts differ.
void note_change(Changes& changes, const std::string& what, const std::string& before,
                 const std::string& after);

/// Reads a resource's settings again and holds them. The result is what changed since the reading before,
/// which is empty for the first one; nothing when they cannot be read: the held ones then stay.
using Reload = std::function<std::optional<Changes>()>;

/// The Reload for settings that `read` gives (in an optional) and `compare` (before, after) describes.
template <class Read, class Compare>
Reload reloading(Read read, Compare compare) {
    return [held = decltype(read()){}, read, compare]() mutable -> std::optional<Changes> {
        auto now = read();
        if (!now) return std::nullopt;
        Changes changes;
        if (held) changes = compare(*held, *now);
        held = std::move(now);
        return changes;
    };
}

/// Adds what differs between two records of a table of settings; `title` stands before each name.
template <class Table>
void note_record_changes(Changes& changes, const Table& table, const typename Table::Record& before,
                         const typename Table::Record& after, const std::string& title = "") {
    for (const auto& [value, member] : table.fields)
        note_change(changes, title + value.name, std::to_string(before.*member),
                    std::to_string(after.*member));
}

/// The Reload for a record that the registry keeps.
template <class Table>
Reload record_resource(const Table& table) {
    using Record = typename Table::Record;
    return reloading([&table] { return settings::read_record(table); },
                     [&table](const Record& before, const Record& after) {
                         Changes changes;
                         note_record_changes(changes, table, before, after);
                         return changes;
                     });
}

// One per resource that needs more than that, each in its own file.
Reload cpu_resource();
Reload eventlog_resource();
Reload filesystem_resource();
Reload raid_resource();
Reload storage_resource();

/// True when the machine has this storage device.
bool is_storage_device(const std::string& name);

/// All resources. Safe from any thread.
class Resources {
  public:
    Resources();

    /// Reloads one resource and logs each change ("cpu: TOTAL FatalReport 95 -> 97").
    /// @param name  The resource; "storage <device>" also starts again with that device. What escape_name does
    ///              to a device's name is undone.
    /// @return The answer to a client: "ok", or "error <why>".
    std::string reload(std::string_view name);

    /// What is done after a resource was reloaded.
    void on_reload(std::function<void(const std::string& resource)> done);

    /// What is done to start again with one thing of a resource.
    void on_start_again(std::function<void(const std::string& resource, const std::string& object)> done);

    /// Reloads all resources.
    void reload_all();

  private:
    std::mutex guard_;
    std::string start_again(const std::string& name, std::string_view thing) const;

    std::function<void(const std::string&)> done_ = [](const std::string&) {};
    std::function<void(const std::string&, const std::string&)> start_again_ = [](const auto&, const auto&) {
    };
    std::map<std::string, Reload, std::less<>> resources_;
};

}  // namespace zel::service
