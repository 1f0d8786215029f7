// SPDX-License-Identifier: GPL-3.0-or-later
// An event is one word that a waiter sleeps on (a futex): there is no lock that a killed process could leave
// taken, and nothing to repair. The word of a named event lies in a file that its users map.
//
// Each user of a named event keeps a shared flock on the file. Who can get an exclusive one knows that nobody
// uses it: then a closing user removes the file, an opener takes it as the leftover of a killed process, and
// a creator starts it again.
//
// Root sets events that belong to the service's user. That user can neither make root wait nor end it: of
// another user's event the lock is asked for once, and it can be set, but not waited for; none is made in
// another user's folder.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "base/file_io.h"

namespace zel::compat {

/// What a named event's file holds.
struct EventRecord {
    std::uint32_t magic;
    std::uint32_t manual_reset;
    std::uint32_t state;  ///< 0 until set; the futex.
    std::uint32_t reserved;
};

class Event {
  public:
    /// An event of this process only.
    Event(bool manual_reset, bool initial);
    ~Event();
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;

    /// The named event, made when no process has it. Null, with errno set, on failure.
    static std::shared_ptr<Event> create_named(std::string_view name, bool manual_reset, bool initial);
    /// Null when no process has it.
    static std::shared_ptr<Event> open_named(std::string_view name);

    void set();
    /// Waits until set, at most `ms` milliseconds (0xFFFFFFFF: without limit). False when the time passed,
    /// and at once for another user's event.
    bool wait(std::uint32_t ms);

  private:
    Event(base::UniqueFd file, std::string name);
    static std::shared_ptr<Event> attach(base::UniqueFd file, const std::string& name);
    bool take();

    EventRecord own_{};
    EventRecord* record_ = &own_;
    base::UniqueFd file_;
    std::string name_;
    pid_t opened_by_ = -1;
};

}  // namespace zel::compat
