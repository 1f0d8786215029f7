// SPDX-License-Identifier: GPL-3.0-or-later
// Makes one of the next system calls that change something below the state folder fail, or ends the process
// there. Linked into a program, it stands before the C library for every library of the process.
#pragma once

#include <string>

namespace zel::faults {

enum class What {
    error,  ///< The call fails and does nothing.
    full,   ///< As ENOSPC comes: a write takes half of the bytes, the next one fails; other calls fail.
    kill,   ///< SIGKILL before the call; half of the bytes of a write are written.
};

struct Fault {
    int at = 0;  ///< Which call, counted from 1; 0 is none.
    What what = What::error;
    int error = 0;  ///< errno of the failing call.
};

/// Counts from now on. `folder` bounds what counts; the calls of other threads and processes never do.
void arm(const std::string& folder, const Fault& fault);

struct Outcome {
    bool fired = false;
    std::string call;            ///< The call that failed.
    bool renamed = false;        ///< A rename had succeeded before: what is new was in place already.
    bool too_early = false;      ///< Something was renamed before what was written last was synced.
    bool folder_synced = false;  ///< After the last rename.
};

/// Stops counting and tells what happened.
Outcome disarm();

}  // namespace zel::faults
