// SPDX-License-Identifier: GPL-3.0-or-later
// How long the requests of a thread may go on.
#pragma once

#include <chrono>
#include <stop_token>

namespace zel::bmc {

/// The longest that somebody waits for a list: a healthy controller takes a second for hundreds of sensors.
inline constexpr std::chrono::seconds kLongestList{30};

/// Bounds the requests of its thread while it lives: none begins once the time is over or an end was asked
/// for. One that is under way is waited for. One limit within another narrows it; they end in reverse order.
class RequestLimit {
  public:
    explicit RequestLimit(std::chrono::milliseconds longest, std::stop_token stop = {});
    explicit RequestLimit(std::stop_token stop);
    ~RequestLimit();
    RequestLimit(const RequestLimit&) = delete;
    RequestLimit& operator=(const RequestLimit&) = delete;

    /// Why this thread may begin no further request; null while it may.
    static const char* reached();
    /// Waits between two requests. False when none may begin after it.
    static bool pause(std::chrono::milliseconds length);

  private:
    using Clock = std::chrono::steady_clock;

    RequestLimit(Clock::time_point end, std::stop_token stop);

    const RequestLimit* outer_;
    Clock::time_point end_;
    std::stop_token stop_;
};

}  // namespace zel::bmc
