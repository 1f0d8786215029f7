// SPDX-License-Identifier: GPL-3.0-or-later
// The settings that the service holds, by resource. A resource is one row of the table in resources.cpp and
// one file with its reader.
#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zel::service {

/// What an administrator has changed, one line per value, such as "TOTAL FatalReport 95 -> 97".
using Changes = std::vector<std::string>;

/// Adds a line when the texts differ.
void note_change(Changes& changes, const std::string& what, const std::string& before,
                 const std::string& after);

/// Reads a resource's settings anew and holds them. The result is what changed since the reading before,
/// which is empty for the first one; nothing when they cannot be read: the held ones then stay.
using Reread = std::function<std::optional<Changes>()>;

/// The Reread for settings that `read` gives (in an optional) and `compare` (before, after) describes.
template <class Read, class Compare>
Reread rereading(Read read, Compare compare) {
    return [held = decltype(read()){}, read, compare]() mutable -> std::optional<Changes> {
        auto now = read();
        if (!now) return std::nullopt;
        Changes changes;
        if (held) changes = compare(*held, *now);
        held = std::move(now);
        return changes;
    };
}

// One per resource, each in its own file.
Reread cpu_resource();
Reread eventlog_resource();
Reread filesystem_resource();
Reread lan_resource();
Reread raid_resource();
Reread shutdown_resource();
Reread storage_resource();
Reread watchdog_resource();

/// True when the machine has this storage device.
bool is_storage_device(const std::string& name);

/// All resources. Safe from any thread.
class Resources {
  public:
    Resources();

    /// Reads one resource anew and logs each change ("cpu: TOTAL FatalReport 95 -> 97").
    /// @param name  The resource; "storage <device>" also starts anew with that device. What escape_name does
    ///              to a device's name is undone.
    /// @return The answer to a client: "ok", or "error <why>".
    std::string reset(std::string_view name);

    /// Reads all resources anew.
    void reset_all();

  private:
    std::mutex guard_;
    std::map<std::string, Reread, std::less<>> resources_;
};

}  // namespace zel::service
