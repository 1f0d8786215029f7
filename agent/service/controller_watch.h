// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

namespace zel::service {

/// Looks once a minute whether the management controller's sensors have the thresholds that an administrator
/// wrote, as bmc::ThresholdKeeper does. A controller that comes out of a reset gets them back, and so does
/// one whose thresholds another program changed, no more often than that. Where agent.conf names no
/// controller, or there is none, nothing is asked.
class ControllerWatch {
  public:
    ControllerWatch();
    /// Waits for a request in progress, no longer than a second and a half: the process then ends without it.
    ~ControllerWatch();
    ControllerWatch(const ControllerWatch&) = delete;
    ControllerWatch& operator=(const ControllerWatch&) = delete;

  private:
    /// What the thread may still use when it outlives the object.
    struct Shared {
        std::mutex mutex{};
        std::condition_variable_any changed{};
        bool ended = false;
    };

    static void run(const std::stop_token& stop, Shared& shared);

    std::shared_ptr<Shared> shared_ = std::make_shared<Shared>();
    std::jthread thread_;
};

}  // namespace zel::service
