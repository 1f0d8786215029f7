// SPDX-License-Identifier: GPL-3.0-or-later
// The agent's trace log: one line per call, in rotating files of bounded size, never on the terminal. Offered
// by libzeltrace.so. Tracing never fails its caller: a line that cannot be written is dropped, and so is one
// of a level that [trace] of agent.conf leaves out.
#pragma once

#include "base.h"

#ifdef __cplusplus
extern "C" {
#endif

/// What a line tells.
enum TraceLevel {
    TRACE_LEVEL_TRACE = 0,     ///< Entry (">..."), return ("<...") and values passed in and out.
    TRACE_LEVEL_ERROR = 1,     ///< A failed library or registry call, a rejected value, an exit on error.
    TRACE_LEVEL_RESOURCE = 2,  ///< A failure of a system resource: memory, file, file-system status.
    TRACE_LEVEL_INFO = 3,      ///< A fact found, such as the result of a probe.
};

/// Opens the trace log; called once, before any line is written.
/// @param program  Name under which the lines appear; copied.
/// @param a, b, c, d  The log library's own settings. Programs pass 0, 0, 5 and 0.
/// @return 0 when the log is open, -1 when it cannot be (lines are then dropped).
ZEL_API int TraceLogInit(int a, const char* program, int b, int c, int d);

/// Names the calling thread in the lines that it writes from now on.
/// @param name  Copied; cut when it is very long.
ZEL_API void TraceLogSetThrName(const char* name);

/// Writes one line.
/// @param level     One of TraceLevel; a line of an unknown level is written as TRACE_LEVEL_TRACE.
/// @param module    Name of the source file, without folder and suffix.
/// @param function  Name of the function.
/// @param line      Line in the source file.
/// @param format    As for printf. Of the outcome, line feeds, other control characters, what
///                  changes the direction of writing and bytes that are not UTF-8 are made visible, such as
///                  "\n" and "\x9b".
ZEL_API void TraceLog(int level, const char* module, const char* function, int line, const char* format, ...)
    ZEL_PRINTF(5, 6);

#ifdef __cplusplus
}
#endif
