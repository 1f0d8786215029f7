// SPDX-License-Identifier: GPL-3.0-or-later
#undef _FORTIFY_SOURCE  // its inline calls would stand in the way of ours
#include "injector.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <string_view>
#include <utility>

namespace zel::faults {
namespace {

struct State {
    std::string folder;
    Fault fault;
    int seen = 0;
    bool written = false;  ///< And not synced since.
    Outcome outcome;
};
thread_local State* state = nullptr;

/// A name as the `...at` calls take it.
struct Name {
    int folder;
    std::string_view path;
};

bool below(std::string_view path) {
    if (path.starts_with(state->folder)) return true;
    if (!path.starts_with("/proc/self/fd/")) return false;
    std::array<char, 4096> target{};
    const ssize_t size = ::readlink(std::string(path).c_str(), target.data(), target.size());
    return std::string_view(target.data(), static_cast<std::size_t>(size < 0 ? 0 : size))
        .starts_with(state->folder);
}
bool below(int fd) {
    return below("/proc/self/fd/" + std::to_string(fd));
}
bool below(const Name& name) {
    return name.folder == AT_FDCWD || name.path.starts_with('/') ? below(name.path) : below(name.folder);
}

/// True when this call is the one, for a call on `where`, a path or a descriptor.
template <class Where>
bool is_due(const char* call, Where where) {
    if (state == nullptr || !below(where) || ++state->seen != state->fault.at) return false;
    state->outcome.fired = true;
    state->outcome.call = call;
    return true;
}

int fail() {
    if (state->fault.what == What::kill) ::raise(SIGKILL);
    errno = state->fault.error;
    return -1;
}

template <class Call>
Call* next(const char* name) {
    return reinterpret_cast<Call*>(::dlsym(RTLD_NEXT, name));
}

constexpr int kChanging = O_WRONLY | O_RDWR | O_CREAT | O_TRUNC;

}  // namespace

void arm(const std::string& folder, const Fault& fault) {
    delete state;
    state = new State{.folder = folder, .fault = fault, .seen = 0, .written = false, .outcome = {}};
}

Outcome disarm() {
    Outcome outcome = state->outcome;
    delete state;
    state = nullptr;
    return outcome;
}

}  // namespace zel::faults

using namespace zel::faults;

#define ZEL_BEFORE_LIBC extern "C" __attribute__((visibility("default")))

ZEL_BEFORE_LIBC int openat(int folder, const char* path, int flags, ...) {
    va_list more;
    va_start(more, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;
    va_end(more);
    static auto* const real = next<int(int, const char*, int, ...)>("openat");
    const bool due = (flags & kChanging) != 0 && is_due("open", Name{folder, path});
    return due ? fail() : real(folder, path, flags, mode);
}

ZEL_BEFORE_LIBC ssize_t write(int fd, const void* bytes, size_t size) {
    static auto* const real = next<ssize_t(int, const void*, size_t)>("write");
    const bool due = is_due("write", fd);
    if (state != nullptr) state->written = true;
    if (!due) return real(fd, bytes, size);
    const bool half = state->fault.what != What::error && size > 1;
    if (half) real(fd, bytes, size / 2);
    if (!half || state->fault.what == What::kill) return fail();
    ++state->fault.at;  // the next call, which writes the rest
    return static_cast<ssize_t>(size / 2);
}

ZEL_BEFORE_LIBC int fsync(int fd) {
    static auto* const real = next<int(int)>("fsync");
    if (is_due("fsync", fd)) return fail();
    if (state != nullptr) state->outcome.folder_synced = !std::exchange(state->written, false);
    return real(fd);
}

ZEL_BEFORE_LIBC int ftruncate(int fd, off_t size) noexcept {
    static auto* const real = next<int(int, off_t)>("ftruncate");
    return is_due("ftruncate", fd) ? fail() : real(fd, size);
}

ZEL_BEFORE_LIBC int renameat(int old, const char* from, int folder, const char* to) noexcept {
    static auto* const real = next<int(int, const char*, int, const char*)>("renameat");
    if (is_due("rename", Name{old, from})) return fail();
    const int result = real(old, from, folder, to);
    if (state == nullptr || result != 0) return result;
    state->outcome.renamed = true;
    state->outcome.folder_synced = false;
    state->outcome.too_early = state->outcome.too_early || state->written;
    return result;
}

ZEL_BEFORE_LIBC int linkat(int old, const char* from, int folder, const char* to, int flags) noexcept {
    static auto* const real = next<int(int, const char*, int, const char*, int)>("linkat");
    return is_due("link", Name{old, from}) ? fail() : real(old, from, folder, to, flags);
}

ZEL_BEFORE_LIBC int mkdirat(int folder, const char* path, mode_t mode) noexcept {
    static auto* const real = next<int(int, const char*, mode_t)>("mkdirat");
    return is_due("mkdir", Name{folder, path}) ? fail() : real(folder, path, mode);
}

ZEL_BEFORE_LIBC int mkdir(const char* path, mode_t mode) noexcept {
    static auto* const real = next<int(const char*, mode_t)>("mkdir");
    return is_due("mkdir", path) ? fail() : real(path, mode);
}
