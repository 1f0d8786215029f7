// SPDX-License-Identifier: GPL-3.0-or-later
#include "controller_watch.h"

#include <chrono>
#include <string>

#include "access/controller_visit.h"
#include "access/sensors_reapply.h"
#include "bmc/settings.h"
#include "log.h"
#include "zel/tracelog.h"

namespace zel::service {
namespace {

constexpr std::chrono::minutes kPause{1};

bool answers() {
    constexpr std::uint8_t kGetDeviceId = 0x01;
    const auto settings = bmc::read_settings();
    if (!settings || !bmc::is_present(*settings)) return false;
    const access::ControllerVisit visit;
    return bmc::controller().request(0, bmc::kApp, kGetDeviceId).has_value();
}

/// True when the sensors have what they shall have.
bool put_thresholds_back() {
    const auto given = access::reapply_thresholds(bmc::controller());
    if (given && *given > 0) log("controller: thresholds put back on sensors: " + std::to_string(*given));
    return given.has_value();
}

}  // namespace

ControllerWatch::ControllerWatch() : thread_([this](const std::stop_token& stop) { run(stop); }) {}

ControllerWatch::~ControllerWatch() = default;

void ControllerWatch::run(const std::stop_token& stop) try {
    TraceLogSetThrName("controller");
    bool answered = false;
    while (!stop.stop_requested()) {
        answered = answers() && (answered || put_thresholds_back());
        std::unique_lock lock(mutex_);
        stopped_.wait_for(lock, stop, kPause, [] { return false; });
    }
} catch (const std::exception& error) {
    log(std::string("controller: no longer watched: ") + error.what());
}

}  // namespace zel::service
