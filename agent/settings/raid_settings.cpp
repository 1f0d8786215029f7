// SPDX-License-Identifier: GPL-3.0-or-later
#include "raid_settings.h"

#include <string>

#include "threshold_file.h"
#include "zel/trace.h"

namespace zel::settings {
namespace {

constexpr const char* kModule = "raid";
constexpr const ThresholdFile& kFile = kRaidFile;
using store::KeyFile;
using store::Status;

}  // namespace

Status read_raid(int& interval) {
    KeyFile file;
    const Status status = load_thresholds(kFile, file);
    if (status == Status::not_found) interval = static_cast<int>(kRaidInterval.fallback);
    if (status != Status::ok) return status;
    const auto number = file.get_int(kGeneralGroup, kRaidInterval.name);
    if (!number || !kRaidInterval.allows(static_cast<std::uint64_t>(*number))) {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "%s: [%s] %s is not a number from %u to %u.", kFile.path().c_str(),
                  kGeneralGroup, kRaidInterval.name, kRaidInterval.least, kRaidInterval.greatest);
        return Status::corrupt;
    }
    interval = static_cast<int>(*number);
    return Status::ok;
}

bool save_raid(int interval, std::optional<int> before) {
    const auto change = [&](KeyFile& file) {
        return put_number(file, kGeneralGroup, kRaidInterval, interval, before);
    };
    return save_thresholds(kFile, change);
}

}  // namespace zel::settings
