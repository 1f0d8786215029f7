// SPDX-License-Identifier: GPL-3.0-or-later
// One library of another agent: whatever is called first says so.
#include <stdio.h>
#include <stdlib.h>

#define CALL(name)                             \
    __attribute__((noreturn)) void name(void); \
    void name(void) {                          \
        puts("other agent: " #name);           \
        exit(0);                               \
    }
#include "../../agent/access/calls.h"
