// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>

namespace zel::service {

/// Looks once a minute whether the management controller's sensors have the thresholds that an administrator
/// wrote, as access::ThresholdKeeper does. A controller that comes out of a reset gets them back, and so does
/// one whose thresholds another program changed, no more often than that. Where agent.conf names no
/// controller, or there is none, nothing is asked.
class ControllerWatch {
  public:
    ControllerWatch();
    /// Waits for a request in progress.
    ~ControllerWatch();
    ControllerWatch(const ControllerWatch&) = delete;
    ControllerWatch& operator=(const ControllerWatch&) = delete;

  private:
    void run(const std::stop_token& stop);

    std::mutex mutex_;
    std::condition_variable_any stopped_;
    std::jthread thread_;
};

}  // namespace zel::service
