// SPDX-License-Identifier: GPL-3.0-or-later
#include "freeipmi_library.h"

#include <dlfcn.h>

#include "zel/tracelog.h"

namespace zel::bmc {
namespace {

constexpr const char* kLibrary = "libfreeipmi.so.17";

void trace_loader_error() {
    const char* error = ::dlerror();
    TraceLog(TRACE_LEVEL_ERROR, "freeipmi_library", "freeipmi", __LINE__, "%s", error ? error : kLibrary);
}

template <class EntryPoint>
bool bind(void* library, const char* name, EntryPoint& slot) {
    slot = reinterpret_cast<EntryPoint>(::dlsym(library, name));
    if (!slot) trace_loader_error();
    return slot;
}

/// Fills the table; the library stays loaded as long as the process lives.
bool load(FreeIpmi& table) {
    void* library = ::dlopen(kLibrary, RTLD_LAZY | RTLD_LOCAL | RTLD_NODELETE);
    if (!library) {
        trace_loader_error();
        return false;
    }
#define ZEL_BIND(name) &&bind(library, #name, table.name)
    return true ZEL_FREEIPMI_ENTRY_POINTS(ZEL_BIND);
#undef ZEL_BIND
}

}  // namespace

const FreeIpmi* freeipmi() {
    static FreeIpmi table;
    static const bool loaded = load(table);
    return loaded ? &table : nullptr;
}

}  // namespace zel::bmc
