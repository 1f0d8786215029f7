// SPDX-License-Identifier: GPL-3.0-or-later
// Where the calls of one door are, in the order of its list.
#define CALL(name) extern void name(void);
#include ZEL_CALLS
#undef CALL

extern __attribute__((visibility("default"))) void (*const ZEL_TABLE[])(void);
void (*const ZEL_TABLE[])(void) = {
#define CALL(name) name,
#include ZEL_CALLS
};
