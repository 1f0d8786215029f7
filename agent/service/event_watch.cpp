// SPDX-License-Identifier: GPL-3.0-or-later
#include "event_watch.h"

#include <chrono>
#include <utility>

#include "log.h"
#include "zel/tracelog.h"

namespace zel::service {

EventWatch::EventWatch(const char* name, std::function<void()> on_set)
    : name_(name), on_set_(std::move(on_set)), event_(CreateEvent(nullptr, 0, 0, name)) {
    if (event_) {
        waiting_ = std::async(std::launch::async, &EventWatch::wait, this);
    } else {
        log(name_ + ": the event cannot be made");
    }
}

EventWatch::~EventWatch() {
    if (!event_) return;
    stop_ = true;
    // Set again until the thread is gone: another process that waits for the event may take it instead.
    constexpr std::chrono::milliseconds kPause{50};
    do {
        SetEvent(event_);
    } while (waiting_.wait_for(kPause) == std::future_status::timeout);
    CloseHandle(event_);
}

void EventWatch::wait() {
    TraceLogSetThrName(name_.c_str());
    while (WaitForSingleObject(event_, INFINITE) == WAIT_EVENT_SET) {
        if (stop_) return;
        log(name_ + ": set");
        on_set_();
    }
    log(name_ + ": can no longer be waited for");
}

}  // namespace zel::service
