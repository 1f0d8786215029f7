// SPDX-License-Identifier: GPL-3.0-or-later
// The chassis light: a worker thread repeats the identify command until it is told to stop. The flags are
// shared with the panel without locks; each has one writer at a time.
#pragma once

#include <zel/win32.h>

#include <atomic>
#include <cstdint>

namespace zel {

extern std::atomic<int> startstatus;     ///< 1 while the worker runs.
extern std::atomic<int> identifystatus;  ///< 1: the worker could not create its event.
extern std::atomic<int> ChassisStatus;   ///< 1: an identify command failed.
extern std::atomic<HANDLE> hEvent;       ///< Tells the worker to stop.

/// The worker's procedure; the parameter is not used. 0, or 1 when it could not create its event.
std::uint32_t ThreadChassisIdentify(void* parameter);

/// Starts the worker and tells what failed within its first second.
void begin_identify();

/// Stops the worker, if one runs, and switches the light off at once.
void end_identify();

}  // namespace zel
