// SPDX-License-Identifier: GPL-3.0-or-later
// RAID controllers: the interval of their threshold file.
#include <cstring>

#include "client/reset_service.h"
#include "handed_out.h"
#include "settings/raid_settings.h"
#include "settings/values.h"
#include "zel/access_monitor.h"

namespace {
namespace settings = zel::settings;
namespace client = zel::client;
using zel::access::handed_out;
using zel::store::Status;

/// What was handed out.
struct RaidInterval {
    int seconds;
};
}  // namespace

extern "C" int Mylex_ReadThresholdFromFile(void* block924) try {
    if (!block924) return MYLEX_READ_FAILED;
    MylexThresholdBlock block{};
    Status status = settings::read_raid(block.interval);
    // Made on the first look, so that it is there to be edited.
    if (status == Status::not_found) {
        status = settings::save_raid(block.interval) ? Status::ok : Status::failed;
    }
    if (status == Status::failed) return MYLEX_NO_FILE;
    if (status != Status::ok) return MYLEX_READ_FAILED;
    handed_out<RaidInterval>().keep({block.interval});
    std::memcpy(block924, &block, sizeof block);
    return 0;
} catch (...) {
    return MYLEX_READ_FAILED;
}

extern "C" int ResetMylexService(int interval) try {
    if (!settings::kRaidInterval.allows(static_cast<std::uint64_t>(interval))) return MYLEX_BAD_INTERVAL;
    auto& known = handed_out<RaidInterval>();
    const auto before = known.last();
    if (!settings::save_raid(interval, before ? std::optional(before->seconds) : std::nullopt))
        return MYLEX_WRITE_FAILED;
    known.saved({interval});
    return client::reset_service("raid") ? 0 : MYLEX_NO_SERVICE;
} catch (...) {
    return MYLEX_WRITE_FAILED;
}
