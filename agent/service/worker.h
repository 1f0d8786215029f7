// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace zel::service {

/// A thread that does one thing again and again. What it does may hang: then it hangs alone, and the process ends
/// without it.
class Worker {
  public:
    /// Does its work and says how long to rest. It may still run when the worker is gone, so it must own what it uses.
    /// `woken` tells that its rest was ended early.
    using Step = std::function<std::chrono::milliseconds(const std::stop_token& stop, bool woken)>;

    /// @param name  Names the thread in the trace and what it fails in on the log.
    Worker(std::string name, Step step);
    /// Waits for a step in progress, no longer than a second and a half.
    ~Worker();
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    /// Ends its rest.
    void wake();
    /// Begins to end it, so that several can be waited for at once.
    void stop() { thread_.request_stop(); }

  private:
    /// What the thread may still use when it outlives the object.
    struct Shared {
        std::mutex mutex{};
        std::condition_variable_any changed{};
        bool woken = false;
        bool ended = false;
    };

    static void run(const std::stop_token& stop, Shared& shared, const Step& step);

    std::string name_;
    std::shared_ptr<Shared> shared_ = std::make_shared<Shared>();
    std::jthread thread_;
};

}  // namespace zel::service
