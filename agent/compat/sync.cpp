// SPDX-License-Identifier: GPL-3.0-or-later
#include <pthread.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <exception>
#include <memory>
#include <thread>

#include "event.h"
#include "handles.h"
#include "zel/trace.h"
#include "zel/win32.h"

namespace {

using zel::compat::Event;

constexpr const char* kModule = "sync";

zel::compat::HandleTable<Event>& events() {
    return zel::compat::handles<Event>();
}

HANDLE make_event(const char* name, bool manual_reset, bool initial) {
    if (name == nullptr) return events().add(std::make_shared<Event>(manual_reset, initial));
    const std::shared_ptr<Event> event = Event::create_named(name, manual_reset, initial);
    if (event) return events().add(event);
    ZEL_TRACE(TRACE_LEVEL_RESOURCE, "event \"%s\": %s.", name, strerrordesc_np(errno));
    return nullptr;
}

/// While it lives, this thread and those that it starts take no signal.
class NoSignals {
  public:
    NoSignals() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~NoSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    NoSignals(const NoSignals&) = delete;
    NoSignals& operator=(const NoSignals&) = delete;

  private:
    sigset_t before_{};
};

HANDLE start_thread(uint32_t (*proc)(void*), void* parameter) {
    // The handle stands for the end of the thread, which itself is detached.
    const auto ended = std::make_shared<Event>(true, false);
    void* const handle = events().add(ended);
    try {
        // Signals are for the thread that the program began with, which may hold them back for a while.
        const NoSignals inherited;
        std::thread([=] {
            proc(parameter);
            ended->set();
        }).detach();
    } catch (const std::exception& failure) {
        events().remove(handle);
        ZEL_TRACE(TRACE_LEVEL_RESOURCE, "no thread: %s.", failure.what());
        return nullptr;
    }
    return handle;
}

}  // namespace

HANDLE CreateEvent(void* /*security*/, int manualReset, int initial, const char* name) try {
    return make_event(name, manualReset != 0, initial != 0);
} catch (...) {
    return nullptr;
}

HANDLE OpenEvent(uint32_t /*access*/, int /*inherit*/, const char* name) try {
    const std::shared_ptr<Event> event = name == nullptr ? nullptr : Event::open_named(name);
    return event ? events().add(event) : nullptr;
} catch (...) {
    return nullptr;
}

int SetEvent(HANDLE event) try {
    const std::shared_ptr<Event> found = events().find(event);
    if (found) found->set();
    return found ? 1 : 0;
} catch (...) {
    return 0;
}

uint32_t WaitForSingleObject(HANDLE h, uint32_t ms) try {
    const std::shared_ptr<Event> event = events().find(h);
    if (!event) return WAIT_FAILED;
    return event->wait(ms) ? WAIT_EVENT_SET : WAIT_TIMEOUT;
} catch (...) {
    return WAIT_FAILED;
}

int CloseHandle(HANDLE h) try { return events().remove(h) ? 1 : 0; } catch (...) {
    return 0;
}

HANDLE CreateThread(uint32_t (*proc)(void*), void* parameter) try {
    return proc == nullptr ? nullptr : start_thread(proc, parameter);
} catch (...) {
    return nullptr;
}
