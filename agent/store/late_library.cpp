// SPDX-License-Identifier: GPL-3.0-or-later
#include "late_library.h"

#include <dlfcn.h>

#include "zel/trace.h"

namespace zel::store {
namespace {

constexpr const char* kModule = "late_library";

void trace_loader_error(const std::string& name) {
    const char* error = ::dlerror();
    ZEL_TRACE(TRACE_LEVEL_ERROR, "%s", error ? error : name.c_str());
}

}  // namespace

LateLibrary::LateLibrary(const char* name)
    : name_(name), handle_(::dlopen(name, RTLD_LAZY | RTLD_LOCAL | RTLD_NODELETE)) {
    if (!handle_) trace_loader_error(name_);
}

void* LateLibrary::find(const char* name) const {
    void* entry = handle_ ? ::dlsym(handle_, name) : nullptr;
    if (handle_ && !entry) trace_loader_error(name_);
    return entry;
}

}  // namespace zel::store
