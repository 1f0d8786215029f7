// SPDX-License-Identifier: GPL-3.0-or-later
#include "raid_settings.h"

#include <string>

#include "base/paths.h"
#include "change_log.h"
#include "threshold_file.h"
#include "zel/trace.h"

namespace zel::settings {
namespace {

constexpr const char* kModule = "raid";
using store::KeyFile;
using store::Status;

const std::string& path() {
    static const std::string& file = *new std::string(base::settings_folder() + "/zelmlx.inf");
    return file;
}

}  // namespace

Status read_raid(int& interval) {
    KeyFile file;
    const Status status = load_thresholds(path(), file);
    if (status == Status::not_found) interval = static_cast<int>(kRaidInterval.fallback);
    if (status != Status::ok) return status;
    const auto number = file.get_int(kGeneralGroup, kRaidInterval.name);
    if (!number || !kRaidInterval.allows(static_cast<std::uint64_t>(*number))) {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "%s: [%s] %s is not a number from %u to %u.", path().c_str(),
                  kGeneralGroup, kRaidInterval.name, kRaidInterval.least, kRaidInterval.greatest);
        return Status::corrupt;
    }
    interval = static_cast<int>(*number);
    return Status::ok;
}

bool save_raid(int interval) {
    const auto change = [&](KeyFile& file) {
        return file.set_int(kGeneralGroup, kRaidInterval.name, interval);
    };
    std::vector<KeyFile::Change> changes;
    if (!save_thresholds(path(), change, changes)) return false;
    log_file_changes("raid", changes, [](const std::string&) { return std::optional<std::string>(); });
    return true;
}

}  // namespace zel::settings
