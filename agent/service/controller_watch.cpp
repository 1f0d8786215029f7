// SPDX-License-Identifier: GPL-3.0-or-later
#include "controller_watch.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "bmc/request_limit.h"
#include "bmc/sensors_reapply.h"
#include "bmc/settings.h"
#include "log.h"
#include "zel/tracelog.h"

namespace zel::service {
namespace {

constexpr std::chrono::minutes kPause{1};
constexpr std::chrono::milliseconds kLongestEnd{1500};

void look(bmc::ThresholdKeeper& keeper) {
    const auto settings = bmc::read_settings();
    if (!settings || !bmc::is_present(*settings)) return keeper.forget();
    const auto given = keeper.look();
    if (given && *given > 0) log("controller: thresholds put back on sensors: " + std::to_string(*given));
}

}  // namespace

ControllerWatch::ControllerWatch()
    : thread_([shared = shared_](const std::stop_token& stop) {
          run(stop, *shared);
          const std::scoped_lock lock(shared->mutex);
          shared->ended = true;
          shared->changed.notify_all();
      }) {}

ControllerWatch::~ControllerWatch() {
    thread_.request_stop();
    std::unique_lock lock(shared_->mutex);
    if (shared_->changed.wait_for(lock, kLongestEnd, [this] { return shared_->ended; })) return;
    log("controller: it does not answer; ending without it");
    thread_.detach();
    // Nothing that the thread uses may be taken down under it.
    ::on_exit(
        [](int status, void*) {
            std::fflush(nullptr);
            ::_exit(status);
        },
        nullptr);
}

void ControllerWatch::run(const std::stop_token& stop, Shared& shared) try {
    TraceLogSetThrName("controller");
    const bmc::RequestLimit limit(stop);
    bmc::ThresholdKeeper keeper(bmc::controller());
    while (!stop.stop_requested()) {
        look(keeper);
        std::unique_lock lock(shared.mutex);
        shared.changed.wait_for(lock, stop, kPause, [] { return false; });
    }
} catch (const std::exception& error) {
    log(std::string("controller: no longer watched: ") + error.what());
}

}  // namespace zel::service
