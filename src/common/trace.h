// SPDX-License-Identifier: GPL-3.0-or-later
// The tool's way to the agent's trace log.
#pragma once

#include <zel/tracelog.h>

/// One trace line of this file's module (`kModule`, the source file's name) and the calling function.
/// A macro and not a function: the compiler then checks the format against the arguments, and the
/// function's own name and line come along.
#define ZEL_TRACE(level, ...) TraceLog((level), kModule, __func__, __LINE__, __VA_ARGS__)
