// SPDX-License-Identifier: GPL-3.0-or-later
#include "worker.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <utility>

#include "log.h"
#include "zel/tracelog.h"

namespace zel::service {
namespace {

constexpr std::chrono::milliseconds kLongestEnd{1500};

}  // namespace

Worker::Worker(std::string name, Step step)
    : name_(std::move(name)),
      thread_([name = name_, step = std::move(step), shared = shared_](const std::stop_token& stop) {
          TraceLogSetThrName(name.c_str());
          try {
              run(stop, *shared, step);
          } catch (const std::exception& error) {
              log(name + ": no longer watched: " + error.what());
          }
          const std::scoped_lock lock(shared->mutex);
          shared->ended = true;
          shared->changed.notify_all();
      }) {}

Worker::~Worker() {
    thread_.request_stop();
    std::unique_lock lock(shared_->mutex);
    if (shared_->changed.wait_for(lock, kLongestEnd, [this] { return shared_->ended; })) return;
    log(name_ + ": it does not answer; ending without it");
    thread_.detach();
    // Nothing that the thread uses may be taken down under it.
    ::on_exit(
        [](int status, void*) {
            std::fflush(nullptr);
            ::_exit(status);
        },
        nullptr);
}

void Worker::wake() {
    const std::scoped_lock lock(shared_->mutex);
    shared_->woken = true;
    shared_->changed.notify_all();
}

void Worker::run(const std::stop_token& stop, Shared& shared, const Step& step) {
    bool woken = false;
    while (!stop.stop_requested()) {
        const auto rest = step(stop, woken);
        std::unique_lock lock(shared.mutex);
        shared.changed.wait_for(lock, stop, rest, [&] { return shared.woken; });
        woken = std::exchange(shared.woken, false);
    }
}

}  // namespace zel::service
