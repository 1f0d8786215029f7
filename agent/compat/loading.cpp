// SPDX-License-Identifier: GPL-3.0-or-later
#include <dlfcn.h>

#include <memory>

#include "handles.h"
#include "zel/trace.h"
#include "zel/win32.h"

namespace {

constexpr const char* kModule = "loading";

struct CloseLibrary {
    void operator()(void* library) const { dlclose(library); }
};

zel::compat::HandleTable<void>& libraries() {
    return zel::compat::handles<void>();
}

void trace_failure(const char* function, const char* name) {
    const char* const reason = dlerror();
    ZEL_TRACE_AS(function, TRACE_LEVEL_ERROR, "%s: %s", name, reason == nullptr ? "no such entry." : reason);
}

}  // namespace

HMODULE LoadLibrary(const char* path) try {
    // An empty path would give the program itself.
    if (path == nullptr || *path == '\0') return nullptr;
    std::unique_ptr<void, CloseLibrary> library(dlopen(path, RTLD_NOW | RTLD_LOCAL));
    if (library) return libraries().add(std::move(library));
    trace_failure(__func__, path);
    return nullptr;
} catch (...) {
    return nullptr;
}

void* GetProcAddress(HMODULE h, const char* name) try {
    const std::shared_ptr<void> library = name == nullptr ? nullptr : libraries().find(h);
    if (!library) return nullptr;
    void* const entry = dlsym(library.get(), name);
    if (entry == nullptr) trace_failure(__func__, name);
    return entry;
} catch (...) {
    return nullptr;
}

int FreeLibrary(HMODULE h) try { return libraries().remove(h) ? 1 : 0; } catch (...) {
    return 0;
}
