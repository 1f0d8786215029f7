// SPDX-License-Identifier: GPL-3.0-or-later
// What every header of the contract needs. The contract is plain C (C11 and later, C++20 and later): C
// linkage, fixed-width types, records whose layout both sides rely on (x86-64 Linux, little-endian).
//
// Each call has its own success sense; its comment says which result means what. Where nothing else is said:
// pointers must not be NULL, texts are zero-terminated UTF-8, what a call was asked to fill stays untouched
// when it fails, and calls may come from any thread.
#pragma once

#include <assert.h>  // static_assert, also in C11
#include <stddef.h>
#include <stdint.h>

/// Marks a call that a shared library offers: the project is built with hidden visibility.
#define ZEL_API __attribute__((visibility("default")))

/// Has the compiler check the arguments of a printf-like call; positions count from 1.
#define ZEL_PRINTF(format_position, first_argument) \
    __attribute__((format(printf, format_position, first_argument)))
