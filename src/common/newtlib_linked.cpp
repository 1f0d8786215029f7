// SPDX-License-Identifier: GPL-3.0-or-later
// newt and S-Lang as part of the tool: their tables hold what was linked.
#include <agntconf/newtlib.h>

namespace zel {

NewtTable newt;
SlangTable slang;

#define ZEL_LINKED(name) .name = &::name,

int initnewtlib() {
    newt = {ZEL_NEWT_ENTRY_POINTS(ZEL_LINKED)};
    return 0;
}

int initslanglib() {
    slang = {ZEL_SLANG_ENTRY_POINTS(ZEL_LINKED)};
    return 0;
}

#undef ZEL_LINKED

void freenewtlib() {
    newt = {};
}

void freeslanglib() {
    slang = {};
}

}  // namespace zel
