// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>

namespace zel::service {

/// Looks once a minute whether the management controller answers. When it does for the first time, or again
/// after it did not (as in a reset), the sensors are given the thresholds that an administrator wrote. Where
/// agent.conf names no controller, or there is none, nothing is asked.
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
