// SPDX-License-Identifier: GPL-3.0-or-later
// One way to the trace log for the tool, the agent's libraries and its service.
#pragma once

#include "tracelog.h"

/// One trace line of this file's module (`kModule`, the source file's name) and the function named.
/// A macro and not a function: the compiler then checks the format against the arguments, and the line's
/// number comes along.
#define ZEL_TRACE_AS(function, level, ...) TraceLog((level), kModule, (function), __LINE__, __VA_ARGS__)

/// The same under the calling function's own name. A helper's line is its panel's, for whoever reads the log:
/// it takes ZEL_TRACE_AS with the panel's name.
#define ZEL_TRACE(level, ...) ZEL_TRACE_AS(__func__, level, __VA_ARGS__)
