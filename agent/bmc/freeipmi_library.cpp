// SPDX-License-Identifier: GPL-3.0-or-later
#include "freeipmi_library.h"

#include "store/late_library.h"

namespace zel::bmc {
namespace {

bool load(FreeIpmi& table) {
    const store::LateLibrary library("libfreeipmi.so.17");
#define ZEL_BIND(name) &&library.bind(#name, table.name)
    return library.loaded() ZEL_FREEIPMI_ENTRY_POINTS(ZEL_BIND);
#undef ZEL_BIND
}

}  // namespace

const FreeIpmi* freeipmi() {
    static FreeIpmi table;
    static const bool loaded = load(table);
    return loaded ? &table : nullptr;
}

}  // namespace zel::bmc
