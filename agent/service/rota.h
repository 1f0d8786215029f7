// SPDX-License-Identifier: GPL-3.0-or-later
// Who does what is done again and again: one thread, one thing after the other, so that the machine is woken up once for
// all that is due at a time. What is done may hang; then it hangs alone, for another thread takes over.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace zel::service {

class Rota {
  public:
    using Clock = std::chrono::steady_clock;
    static constexpr Clock::time_point kNotByItself = Clock::time_point::max();

    struct Task {
        std::string name;  ///< Names the thread in the trace while it is done, and what fails on the log.
        /// Does it and says when it is due again. It may still run when the rota is gone, so it must own what it uses.
        std::function<Clock::time_point(const std::stop_token& stop)> step;
    };

    /// Begins with all of them at once. Of those that are due the one named first is done first.
    explicit Rota(std::vector<Task> tasks);
    /// Waits for a step in progress, no longer than a second and a half.
    ~Rota();
    Rota(const Rota&) = delete;
    Rota& operator=(const Rota&) = delete;

    /// Has a task done as soon as may be; all of them without a name. Also from within a step.
    void wake(std::string_view name = {});

    /// The next time that all who have this interval, or one that it is a part of, meet.
    static Clock::time_point meeting(std::chrono::milliseconds interval);

  private:
    class Shared;
    std::shared_ptr<Shared> shared_;
};

}  // namespace zel::service
