// SPDX-License-Identifier: GPL-3.0-or-later
#include "controller_watch.h"

#include <string>

#include "bmc/request_limit.h"
#include "bmc/sensors_reapply.h"
#include "bmc/settings.h"
#include "log.h"

namespace zel::service {
namespace {

constexpr std::chrono::minutes kPause{1};

void look(bmc::ThresholdKeeper& keeper) {
    if (!bmc::is_present()) return keeper.forget();
    const auto given = keeper.look();
    if (given && *given > 0) log("controller: thresholds put back on sensors: " + std::to_string(*given));
}

}  // namespace

Rota::Task controller_watch() {
    return {"controller", [keeper = std::make_shared<bmc::ThresholdKeeper>(bmc::controller())](
                              const std::stop_token& stop) {
                const bmc::RequestLimit limit(stop);
                look(*keeper);
                return Rota::meeting(kPause);
            }};
}

}  // namespace zel::service
