// SPDX-License-Identifier: GPL-3.0-or-later
// Makes one of the next system calls that change something below a folder fail, or ends the process there.
// Linked into a program, it stands before the C library for every library of the process.
#pragma once

#include <string>
#include <string_view>

namespace zel::faults {

inline constexpr int kKill = 0;  ///< In place of an errno: SIGKILL. Half of the bytes of a write are written.

/// A fault, and what was seen on the way to it and behind it.
struct Injection {
    Injection(std::string below, int step, int how) : folder(std::move(below)), at(step), error(how) {}

    std::string folder;
    int at;     ///< Which call, counted from 1.
    int error;  ///< Of ENOSPC, too, a write takes half of the bytes, and the next one fails.

    int seen = 0;
    std::string_view call;       ///< The one that failed.
    bool unsynced = false;       ///< Something was written and not synced since.
    bool renamed = false;        ///< What is new is in place.
    bool too_early = false;      ///< It was renamed unsynced.
    bool folder_synced = false;  ///< After the last rename.

    /// Runs `body`; calls of other threads and processes do not count.
    template <class Body>
    bool during(Body body);
};

inline thread_local Injection* current = nullptr;

template <class Body>
bool Injection::during(Body body) {
    current = this;
    const bool result = body();
    current = nullptr;
    return result;
}

}  // namespace zel::faults
