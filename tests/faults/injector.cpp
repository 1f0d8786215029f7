// SPDX-License-Identifier: GPL-3.0-or-later
#undef _FORTIFY_SOURCE  // its inline calls would stand in the way of ours
#include "injector.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdarg>
#include <utility>

namespace zel::faults {
namespace {

/// A name as the `...at` calls take it.
struct Name {
    int folder;
    std::string_view path;
};

bool below(std::string_view path) {
    if (!path.starts_with("/proc/self/fd/")) return path.starts_with(current->folder);
    std::array<char, PATH_MAX> target{};
    const ssize_t size = ::readlink(std::string(path).c_str(), target.data(), target.size());
    return size > 0 &&
           std::string_view(target.data(), static_cast<std::size_t>(size)).starts_with(current->folder);
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

ZEL_BEFORE_LIBC int openat(int folder, const char* path, int flags, ...) {
    static auto* const real = next<int(int, const char*, int, ...)>("openat");
    va_list more;
    va_start(more, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;
    va_end(more);
    const bool changes = (flags & (O_WRONLY | O_RDWR | O_CREAT | O_TRUNC)) != 0;
    return changes && is_due("open", Name{folder, path}) ? fail() : real(folder, path, flags, mode);
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

ZEL_BEFORE_LIBC int renameat(int old, const char* from, int folder, const char* to) noexcept {
    static auto* const real = next<int(int, const char*, int, const char*)>("renameat");
    if (is_due("rename", Name{old, from})) return fail();
    const int result = real(old, from, folder, to);
    if (current == nullptr || result != 0) return result;
    current->renamed = true;
    current->folder_synced = false;
    current->too_early = current->too_early || current->unsynced;
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
