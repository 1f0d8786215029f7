// SPDX-License-Identifier: GPL-3.0-or-later
#include "controller_watch.h"

#include <chrono>
#include <string>

#include "access/sensors_reapply.h"
#include "bmc/settings.h"
#include "log.h"
#include "zel/tracelog.h"

namespace zel::service {
namespace {

constexpr std::chrono::minutes kPause{1};

void look(access::ThresholdKeeper& keeper) {
    const auto settings = bmc::read_settings();
    if (!settings || !bmc::is_present(*settings)) return keeper.forget();
    const auto given = keeper.look();
    if (given && *given > 0) log("controller: thresholds put back on sensors: " + std::to_string(*given));
}

}  // namespace

ControllerWatch::ControllerWatch() : thread_([this](const std::stop_token& stop) { run(stop); }) {}

ControllerWatch::~ControllerWatch() = default;

void ControllerWatch::run(const std::stop_token& stop) try {
    TraceLogSetThrName("controller");
    access::ThresholdKeeper keeper(bmc::controller());
    while (!stop.stop_requested()) {
        look(keeper);
        std::unique_lock lock(mutex_);
        stopped_.wait_for(lock, stop, kPause, [] { return false; });
    }
} catch (const std::exception& error) {
    log(std::string("controller: no longer watched: ") + error.what());
}

}  // namespace zel::service
