// SPDX-License-Identifier: GPL-3.0-or-later
// Loads libzelsmbios.so at run time: the one in the agent's directory, else the loader's choice.
#include <dlfcn.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <string_view>

#include "base/paths.h"
#include "zel/smbios.h"
#include "zel/trace.h"

namespace {

constexpr const char* kModule = "smbios_loader";
constexpr const char* kLibrary = "libzelsmbios.so";

struct CloseLibrary {
    void operator()(void* library) const { ::dlclose(library); }
};
using Library = std::unique_ptr<void, CloseLibrary>;

/// True when the loader's last error is that it found no file of this name. Its messages begin with the
/// file they are about: the bare name asked for, or what it did find.
bool not_installed(const char* error, std::string_view name) {
    return error && std::string_view(error).starts_with(std::string(name) + ':');
}

template <class Function>
bool bind(void* library, const char* name, Function*& entry) {
    entry = reinterpret_cast<Function*>(::dlsym(library, name));
    if (!entry) ZEL_TRACE(TRACE_LEVEL_ERROR, "%s lacks %s.", kLibrary, name);
    return entry;
}

}  // namespace

extern "C" int load_libzelsmbios(SmbiosTable* table) try {
    if (!table) return -1;
    *table = {};
    const std::string own = zel::base::agent_dir() + "/lib/" + kLibrary;
    const bool have_own = ::access(own.c_str(), F_OK) == 0;
    Library library(::dlopen(have_own ? own.c_str() : kLibrary, RTLD_NOW | RTLD_LOCAL));
    if (!library) {
        const char* error = ::dlerror();
        if (!have_own && not_installed(error, kLibrary)) return 0;
        ZEL_TRACE(TRACE_LEVEL_ERROR, "%s.", error ? error : kLibrary);
        return -1;
    }
    SmbiosTable filled{};
    if (!bind(library.get(), "zelsmbios_initialise", filled.initialise) ||
        !bind(library.get(), "zelsmbios_close", filled.close) ||
        !bind(library.get(), "zelsmbios_request", filled.request)) {
        return -1;
    }
    filled.unused0 = library.release();
    *table = filled;
    return 1;
} catch (...) {
    return -1;
}

extern "C" void destroy_libzelsmbios(SmbiosTable* table) {
    if (!table) return;
    const Library library(table->unused0);
    *table = {};
}
