// SPDX-License-Identifier: GPL-3.0-or-later
#include "agent_config.h"

#include <map>
#include <mutex>
#include <set>
#include <utility>

#include "base/paths.h"
#include "cached_file.h"
#include "zel/trace.h"

namespace zel::store {

constexpr const char* kModule = "agent_config";

/// One state of the file. The values are taken out at once: a KeyFile is not for several threads.
struct AgentConfig {
    AgentConfig(Status read, const KeyFile& file) : status(read == Status::not_found ? Status::ok : read) {
        if (status != Status::ok) {
            ZEL_TRACE(TRACE_LEVEL_ERROR, "%s %s.", base::config_file().c_str(),
                      status == Status::corrupt ? "does not parse" : "cannot be read");
        }
        for (const std::string& group : file.groups()) {
            for (const std::string& key : file.keys(group))
                values[{group, key}] = file.get(group, key);
        }
    }

    Status status;
    std::map<std::pair<std::string, std::string>, std::optional<std::string>> values;
    mutable std::mutex mutex;
    mutable std::set<std::string> refused;  ///< What was traced of this state.
};

namespace {

std::shared_ptr<const AgentConfig> current() {
    // Never destroyed: threads may still read while the process ends.
    static auto& file = *new CachedFile<AgentConfig>(base::config_file());
    return file.current();
}

}  // namespace

ConfigGroup::ConfigGroup(std::string name) : name_(std::move(name)), config_(current()) {}

Status ConfigGroup::status() const {
    return config_->status;
}

bool ConfigGroup::has(const std::string& key) const {
    return config_->values.contains({name_, key});
}

std::optional<std::string> ConfigGroup::get(const std::string& key) const {
    const auto found = config_->values.find({name_, key});
    return found == config_->values.end() ? std::nullopt : found->second;
}

std::string ConfigGroup::text(const std::string& key, const std::string& fallback) {
    auto text = get(key);
    if (!text && has(key)) refuse(key);
    return text && !text->empty() ? *std::move(text) : fallback;
}

std::int64_t ConfigGroup::number(const std::string& key, std::int64_t least, std::int64_t greatest,
                                 std::int64_t fallback) {
    if (!has(key)) return fallback;
    const auto value = parse_int(get(key).value_or(""));
    if (value && *value >= least && *value <= greatest) return *value;
    refuse(key);
    return fallback;
}

void ConfigGroup::refuse(const std::string& key, const char* why) {
    valid_ = false;
    std::string line = base::config_file() + ": " + key + " of [" + name_ + "] " + why + '.';
    const std::lock_guard guard(config_->mutex);
    const auto [place, first] = config_->refused.insert(std::move(line));
    if (first) ZEL_TRACE(TRACE_LEVEL_ERROR, "%s", place->c_str());
}

std::string configured(const std::string& group, const std::string& key, const std::string& fallback) {
    return ConfigGroup(group).text(key, fallback);
}

}  // namespace zel::store
