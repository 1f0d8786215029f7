// SPDX-License-Identifier: GPL-3.0-or-later
#undef _FORTIFY_SOURCE  // its inline calls would stand in the way of ours
#include "injector.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdarg>
#include <utility>

namespace zel::faults {
namespace {

bool below(std::string_view path) {
    return path.starts_with(current->folder);
}

bool below(int fd) {
    char path[PATH_MAX];
    const ssize_t size = ::readlink(("/proc/self/fd/" + std::to_string(fd)).c_str(), path, sizeof path);
    return size > 0 && below(std::string_view(path, static_cast<std::size_t>(size)));
}

/// True when this call is the one, for a call on `where`, a path or a descriptor.
template <class Where>
bool is_due(const char* call, Where where) {
    if (current == nullptr || !below(where) || ++current->seen != current->at) return false;
    current->call = call;
    return true;
}

int fail() {
    if (current->error == kKill) ::raise(SIGKILL);
    errno = current->error;
    return -1;
}

template <class Call>
Call* next(const char* name) {
    return reinterpret_cast<Call*>(::dlsym(RTLD_NEXT, name));
}

}  // namespace
}  // namespace zel::faults

using namespace zel::faults;

#define ZEL_BEFORE_LIBC extern "C" __attribute__((visibility("default")))

ZEL_BEFORE_LIBC int open(const char* path, int flags, ...) {
    static auto* const real = next<int(const char*, int, ...)>("open");
    va_list more;
    va_start(more, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;
    va_end(more);
    const bool changes = (flags & (O_WRONLY | O_RDWR | O_CREAT | O_TRUNC)) != 0;
    return changes && is_due("open", path) ? fail() : real(path, flags, mode);
}

ZEL_BEFORE_LIBC ssize_t write(int fd, const void* bytes, size_t size) {
    static auto* const real = next<ssize_t(int, const void*, size_t)>("write");
    const bool due = is_due("write", fd);
    if (current != nullptr) current->unsynced = true;
    if (!due) return real(fd, bytes, size);
    if (current->error == EIO || size < 2) return fail();
    real(fd, bytes, size / 2);
    if (current->error == kKill) return fail();
    ++current->at;  // the next call, which writes the rest
    return static_cast<ssize_t>(size / 2);
}

ZEL_BEFORE_LIBC int fsync(int fd) {
    static auto* const real = next<int(int)>("fsync");
    if (is_due("fsync", fd)) return fail();
    if (current != nullptr) current->folder_synced = !std::exchange(current->unsynced, false);
    return real(fd);
}

ZEL_BEFORE_LIBC int rename(const char* from, const char* to) noexcept {
    static auto* const real = next<int(const char*, const char*)>("rename");
    if (is_due("rename", from)) return fail();
    const int result = real(from, to);
    if (current == nullptr || result != 0) return result;
    current->renamed = true;
    current->folder_synced = false;
    current->too_early = current->too_early || current->unsynced;
    return result;
}

ZEL_BEFORE_LIBC int link(const char* from, const char* to) noexcept {
    static auto* const real = next<int(const char*, const char*)>("link");
    return is_due("link", from) ? fail() : real(from, to);
}

ZEL_BEFORE_LIBC int mkdir(const char* path, mode_t mode) noexcept {
    static auto* const real = next<int(const char*, mode_t)>("mkdir");
    return is_due("mkdir", path) ? fail() : real(path, mode);
}
