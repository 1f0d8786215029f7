// SPDX-License-Identifier: GPL-3.0-or-later
#include "resources.h"

#include "log.h"
#include "settings/threshold_file.h"
#include "store/registry.h"

namespace zel::service {
namespace {

std::string reload_one(const std::string& name, const Reload& reload) {
    const auto changes = reload();
    if (!changes) {
        // Most settings are read by the libraries, which tell the trace log alone; asked here, the registry
        // tells this log why it reads as empty.
        store::registry::check();
        log(name + ": the settings cannot be read");
        return "error the settings cannot be read";
    }
    const std::string title = name + ": ";
    for (const std::string& change : *changes)
        log(title + change);
    return "ok";
}

/// Of the sensors nothing is held: the controller has their thresholds. Who changed them wants them judged.
std::optional<Changes> nothing_held() {
    return Changes();
}

}  // namespace

void note_change(Changes& changes, const std::string& what, const std::string& before,
                 const std::string& after) {
    if (before == after) return;
    std::string line = what;
    line.append(" ").append(before).append(" -> ").append(after);
    changes.push_back(std::move(line));
}

Resources::Resources()
    : resources_{
          {"cpu", cpu_resource()},
          {"eventlog", eventlog_resource()},
          {"filesystem", filesystem_resource()},
          {"lan", record_resource(settings::kLan)},
          {"raid", raid_resource()},
          {"shutdown", record_resource(settings::kShutdown)},
          {"storage", storage_resource()},
          {"temperature", nothing_held},
          {"voltage", nothing_held},
          {"watchdog", record_resource(settings::kWatchdog)},
      } {}

std::string Resources::reload(std::string_view name) {
    const std::lock_guard lock(guard_);
    const std::size_t blank = name.find(' ');
    const auto found = resources_.find(name.substr(0, blank));
    if (found == resources_.end()) return "error unknown resource";
    std::string answer = reload_one(found->first, found->second);
    if (answer == "ok") done_(found->first);
    if (blank == std::string_view::npos || answer != "ok") return answer;
    return start_again(found->first, name.substr(blank + 1));
}

std::string Resources::start_again(const std::string& name, std::string_view thing) const {
    const std::string device = settings::unescape_name(thing);
    if (name != "storage" || !is_storage_device(device)) return "error no such device";
    log(name + ": " + settings::escape_name(device) + " starts again");
    start_again_(name, device);
    return "ok";
}

void Resources::reload_all() {
    const std::lock_guard lock(guard_);
    for (const auto& [name, read] : resources_)
        if (reload_one(name, read) == "ok") done_(name);
}

void Resources::on_start_again(
    std::function<void(const std::string& resource, const std::string& object)> done) {
    const std::lock_guard lock(guard_);
    start_again_ = std::move(done);
}

void Resources::on_reload(std::function<void(const std::string& resource)> done) {
    const std::lock_guard lock(guard_);
    done_ = std::move(done);
}

}  // namespace zel::service
