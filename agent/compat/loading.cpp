// SPDX-License-Identifier: GPL-3.0-or-later
#include <dlfcn.h>

#include <memory>

#include "handles.h"
#include "zel/tracelog.h"
#include "zel/win32.h"

namespace {

using zel::compat::guarded;

class Library {
  public:
    explicit Library(const char* path) : handle_(dlopen(path, RTLD_NOW | RTLD_LOCAL)) {}
    ~Library() {
        if (handle_ != nullptr) dlclose(handle_);
    }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    [[nodiscard]] bool loaded() const { return handle_ != nullptr; }
    [[nodiscard]] void* entry(const char* name) const { return dlsym(handle_, name); }

  private:
    void* handle_;
};

zel::compat::HandleTable<Library>& libraries() {
    return zel::compat::handles<Library>();
}

void trace_failure(const char* function, int line, const char* name) {
    const char* const reason = dlerror();
    TraceLog(TRACE_LEVEL_ERROR, "loading", function, line, "%s: %s", name,
             reason == nullptr ? "no such entry." : reason);
}

}  // namespace

HMODULE LoadLibrary(const char* path) {
    // An empty path would give the program itself.
    if (path == nullptr || *path == '\0') return nullptr;
    return guarded(HMODULE{}, [&]() -> HMODULE {
        const auto library = std::make_shared<Library>(path);
        if (library->loaded()) return libraries().add(library);
        trace_failure("LoadLibrary", __LINE__, path);
        return nullptr;
    });
}

void* GetProcAddress(HMODULE h, const char* name) {
    if (name == nullptr) return nullptr;
    return guarded(static_cast<void*>(nullptr), [&]() -> void* {
        const std::shared_ptr<Library> library = libraries().find(h);
        if (!library) return nullptr;
        void* const entry = library->entry(name);
        if (entry == nullptr) trace_failure("GetProcAddress", __LINE__, name);
        return entry;
    });
}

int FreeLibrary(HMODULE h) {
    return guarded(0, [&] { return libraries().remove(h) ? 1 : 0; });
}
