// SPDX-License-Identifier: GPL-3.0-or-later
#include <agntconf/newtlib.h>
#include <dlfcn.h>
#include <zel/trace.h>

#include <cstring>

namespace zel {

NewtTable newt;
SlangTable slang;

namespace {

constexpr char kModule[] = "newtlib";

void* newt_library = nullptr;
void* slang_library = nullptr;

void* open_library(const char* name) {
    void* library = dlopen(name, RTLD_LAZY | RTLD_LOCAL | RTLD_NODELETE);
    if (library == nullptr) ZEL_TRACE(TRACE_LEVEL_ERROR, "%s", dlerror());
    return library;
}

template <class EntryPoint>
bool bind(void* library, const char* name, EntryPoint& slot) {
    void* address = dlsym(library, name);
    if (address == nullptr) {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "entry point %s is missing", name);
        return false;
    }
    static_assert(sizeof address == sizeof slot);
    std::memcpy(&slot, &address, sizeof slot);
    return true;
}

void close_library(void*& library) {
    if (library != nullptr) dlclose(library);
    library = nullptr;
}

#define ZEL_BIND(name) &&bind(library, #name, table.name)
bool bind_all(void* library, NewtTable& table) {
    return true ZEL_NEWT_ENTRY_POINTS(ZEL_BIND);
}
bool bind_all(void* library, SlangTable& table) {
    return true ZEL_SLANG_ENTRY_POINTS(ZEL_BIND);
}
#undef ZEL_BIND

template <class Table>
int init_library(const char* name, void*& library, Table& table) {
    Table bound;
    library = open_library(name);
    if (library == nullptr) return -1;
    if (!bind_all(library, bound)) {
        close_library(library);
        return -1;
    }
    table = bound;
    return 0;
}

}  // namespace

int initnewtlib() {
    return init_library("libnewt.so.0.52", newt_library, newt);
}

int initslanglib() {
    return init_library("libslang.so.2", slang_library, slang);
}

void freenewtlib() {
    newt = {};
    close_library(newt_library);
}

void freeslanglib() {
    slang = {};
    close_library(slang_library);
}

}  // namespace zel
