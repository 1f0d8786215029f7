// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <functional>
#include <future>
#include <string>

#include "zel/win32.h"

namespace zel::service {

/// Owns a named event that other processes set, and a thread that waits for it.
class EventWatch {
  public:
    /// Makes the event and starts waiting; `on_set` runs in the waiting thread each time it is set. When the
    /// event cannot be made, that is logged and nothing is watched.
    EventWatch(const char* name, std::function<void()> on_set);
    /// Stops waiting and gives the event back. A running `on_set` is waited for.
    ~EventWatch();
    EventWatch(const EventWatch&) = delete;
    EventWatch& operator=(const EventWatch&) = delete;

  private:
    void wait();

    std::string name_;
    std::function<void()> on_set_;
    HANDLE event_;
    std::atomic<bool> stop_ = false;
    std::future<void> waiting_;
};

}  // namespace zel::service
