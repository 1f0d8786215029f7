// SPDX-License-Identifier: GPL-3.0-or-later
// Events and threads. A thread really runs, but takes turns with the panel that started it, so that a test
// always sees the same order: it begins when the panel sleeps, and the panel goes on when the thread waits or
// has ended.
// "WaitForSingleObject=0x102,0" results: 0 waits until the event is set, others come at once, without a wait.
// "SetEvent=0" fails, and whoever waits for the event is told that the time has passed.
#include <zel/win32.h>

#include <chrono>
#include <condition_variable>
#include <ctime>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

#include "script.h"

namespace {

using scripted::call;

struct Event {
    int number;
    uint32_t result;       ///< of the next wait; 0 while the event is not set
    bool awaited = false;  ///< a thread waits for it
};

struct Turns {
    std::mutex lock;
    std::condition_variable changed;
    std::deque<Event> events;  ///< handles are their addresses; never closed
    bool held = false;         ///< new threads wait for the panel to sleep
    int running = 0;           ///< threads that neither wait nor have ended
};

// Never destroyed: a thread may outlive main's statics.
Turns& turns() {
    static auto* const the = new Turns;
    return *the;
}

HANDLE new_event(int result, bool set) {
    if (result == 0) return nullptr;
    const std::lock_guard guard(turns().lock);
    auto& events = turns().events;
    return &events.emplace_back(Event{static_cast<int>(events.size()) + 1, set ? WAIT_EVENT_SET : 0});
}

int number_of(const Event* event) {
    return event != nullptr ? event->number : 0;
}

/// Lets the threads run up to their next wait; no longer than a test's patience.
void give_turn(std::unique_lock<std::mutex>& guard) {
    turns().held = false;
    turns().changed.notify_all();
    turns().changed.wait_for(guard, std::chrono::seconds(5), [] { return turns().running == 0; });
}

void run_thread(uint32_t (*proc)(void*), void* parameter) {
    {
        std::unique_lock guard(turns().lock);
        turns().changed.wait(guard, [] { return !turns().held; });
    }
    proc(parameter);
    const std::lock_guard guard(turns().lock);
    --turns().running;
    turns().changed.notify_all();
}

}  // namespace

HANDLE CreateEvent(void* /*security*/, int manualReset, int initial, const char* name) {
    return new_event(call("CreateEvent", 1, manualReset, initial, name != nullptr ? name : ""), initial != 0);
}

HANDLE OpenEvent(uint32_t access, int inherit, const char* name) {
    return new_event(call("OpenEvent", 1, access, inherit, name), false);
}

int SetEvent(HANDLE handle) {
    auto* const event = static_cast<Event*>(handle);
    const int result = call("SetEvent", event != nullptr ? 1 : 0, number_of(event));
    if (event == nullptr) return result;
    std::unique_lock guard(turns().lock);
    event->result = result != 0 ? WAIT_EVENT_SET : WAIT_TIMEOUT;
    if (std::exchange(event->awaited, false)) ++turns().running;
    give_turn(guard);
    return result;
}

uint32_t WaitForSingleObject(HANDLE handle, uint32_t ms) {
    auto* const event = static_cast<Event*>(handle);
    const auto at_once = call<uint32_t>("WaitForSingleObject", 0, number_of(event), ms);
    if (at_once != 0) return at_once;
    std::unique_lock guard(turns().lock);
    if (event->result == 0) {
        event->awaited = true;
        --turns().running;
        turns().changed.notify_all();
        turns().changed.wait(guard, [event] { return event->result != 0; });
    }
    return std::exchange(event->result, 0);
}

int CloseHandle(HANDLE handle) {
    return call("CloseHandle", 1, number_of(static_cast<Event*>(handle)));
}

HANDLE CreateThread(uint32_t (*proc)(void*), void* parameter) {
    if (call("CreateThread", 1, parameter != nullptr ? "parameter" : "") == 0) return nullptr;
    const std::lock_guard guard(turns().lock);
    ++turns().running;
    turns().held = true;
    std::thread(run_thread, proc, parameter).detach();
    return &turns();
}

/// The panel's sleep: "sleep=4,0" interrupts it once. Threads have their turn when it is over.
extern "C" ZEL_API int clock_nanosleep(clockid_t clock, int flags, const timespec* until,
                                       timespec* /*left*/) {
    static timespec last{};
    timespec now{};
    clock_gettime(clock, &now);
    const bool again = until->tv_sec == last.tv_sec && until->tv_nsec == last.tv_nsec;
    const bool usual = clock == CLOCK_MONOTONIC && flags == TIMER_ABSTIME;
    const auto ms = (until->tv_sec - now.tv_sec) * 1000 + (until->tv_nsec - now.tv_nsec) / 1'000'000;
    last = *until;
    const int result = call("sleep", 0, !usual ? "?" : again ? "on" : std::to_string((ms + 999) / 1000));
    std::unique_lock guard(turns().lock);
    if (result == 0) give_turn(guard);
    return result;
}
