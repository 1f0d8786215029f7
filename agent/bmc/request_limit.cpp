// SPDX-License-Identifier: GPL-3.0-or-later
#include "request_limit.h"

#include <algorithm>
#include <thread>
#include <utility>

namespace zel::bmc {
namespace {

thread_local const RequestLimit* innermost = nullptr;

}  // namespace

RequestLimit::RequestLimit(Clock::time_point end, std::stop_token stop)
    : outer_(innermost), end_(outer_ ? std::min(outer_->end_, end) : end), stop_(std::move(stop)) {
    innermost = this;
}

RequestLimit::RequestLimit(std::chrono::milliseconds longest, std::stop_token stop)
    : RequestLimit(Clock::now() + longest, std::move(stop)) {}

RequestLimit::RequestLimit(std::stop_token stop) : RequestLimit(Clock::time_point::max(), std::move(stop)) {}

RequestLimit::~RequestLimit() {
    innermost = outer_;
}

const char* RequestLimit::reached() {
    for (const RequestLimit* limit = innermost; limit; limit = limit->outer_) {
        if (limit->stop_.stop_requested()) return "the end was asked for";
    }
    return innermost && Clock::now() >= innermost->end_ ? "the time for it is over" : nullptr;
}

bool RequestLimit::pause(std::chrono::milliseconds length) {
    const auto end = Clock::now() + length;
    std::this_thread::sleep_until(innermost ? std::min(innermost->end_, end) : end);
    return !reached();
}

}  // namespace zel::bmc
