// SPDX-License-Identifier: GPL-3.0-or-later
// Preloaded by tests: SHORT_MEMORY=SIZE:N makes the N-th allocation of exactly SIZE bytes fail, by calloc or
// by the new that answers with null.
#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <new>

namespace {

bool fails(std::size_t size) {
    static int left = 0;
    static const std::size_t scarce = [] {
        std::size_t told = 0;
        const char* value = std::getenv("SHORT_MEMORY");
        return value != nullptr && std::sscanf(value, "%zu:%d", &told, &left) == 2 ? told : 0;
    }();
    return size == scarce && --left == 0;
}

template <class Function>
Function* next(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" __attribute__((visibility("default"))) void* calloc(std::size_t count, std::size_t size) noexcept {
    static auto* const real = next<void*(std::size_t, std::size_t)>("calloc");
    return fails(count * size) ? nullptr : real(count, size);
}

void* operator new(std::size_t size, const std::nothrow_t& tag) noexcept {
    static auto* const real = next<void*(std::size_t, const std::nothrow_t&)>("_ZnwmRKSt9nothrow_t");
    return fails(size) ? nullptr : real(size, tag);
}
