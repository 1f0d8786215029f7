// SPDX-License-Identifier: GPL-3.0-or-later
#include "password.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "base/file_io.h"
#include "zel/trace.h"

namespace zel::bmc {
namespace {

constexpr const char* kModule = "controller_settings";

bool refuse_password(const std::string& path, const char* why) {
    ZEL_TRACE(TRACE_LEVEL_ERROR, "Password file %s: %s.", path.c_str(), why);
    return false;
}

/// Where systemd keeps the password for the service, which may not read root's files; empty for who is given
/// none.
std::string credential() {
    const char* const folder = ::secure_getenv("CREDENTIALS_DIRECTORY");
    return folder == nullptr ? std::string() : std::string(folder) + "/password";
}

/// Where there is no file to load, the unit hands over an empty line.
bool holds_password(const std::string& path) {
    char first = '\n';
    const auto file = path.empty() ? base::UniqueFd() : base::open_file(path, O_RDONLY | O_NOFOLLOW);
    return file && ::read(file.get(), &first, 1) == 1 && first != '\n';
}

/// As many bytes as fit, or as the file has.
ssize_t read_bytes(int fd, std::span<char> out) {
    ssize_t got = 0;
    do {
        got = ::read(fd, out.data(), out.size());
    } while (got < 0 && errno == EINTR);
    return got;
}

}  // namespace

std::string password_file(std::string configured) {
    auto given = credential();
    return !configured.empty() && holds_password(given) ? given : configured;
}

Password::~Password() {
    ::explicit_bzero(text_.data(), text_.size());
}

bool Password::wipe_copy_in(std::span<char> memory) const {
    const auto length = static_cast<std::ptrdiff_t>(std::string_view(c_str()).size());
    // With zeros before and after it, so that no part of another text is taken for it.
    std::array<char, kMaxSize + 2> copy{};
    std::copy_n(text_.data(), length, copy.data() + 1);
    const auto found = std::search(memory.begin(), memory.end(), copy.begin(), copy.end());
    const bool wiped = length > 0 && found != memory.end();
    if (wiped) ::explicit_bzero(&*found, copy.size());
    ::explicit_bzero(copy.data(), copy.size());
    return length == 0 || wiped;
}

bool Password::read(const std::string& path) {
    // No link that somebody else could turn.
    const auto file = base::open_regular(path, O_NOFOLLOW);
    struct stat info {};
    if (!file || ::fstat(file.get(), &info) != 0) return refuse_password(path, base::why_not_opened());
    // systemd may give access to a credential by a list, whose mask then stands in the group's place.
    const mode_t closed = path == credential() ? S_IRWXO : S_IRWXG | S_IRWXO;
    if ((info.st_mode & closed) != 0) return refuse_password(path, "open to group or others");
    if (info.st_uid != 0 && info.st_uid != ::geteuid()) return refuse_password(path, "owned by another user");

    // Room for the longest password and a line's end, CR included.
    std::array<char, kMaxSize + 2> bytes{};
    const ssize_t size = read_bytes(file.get(), bytes);
    const auto* const end = bytes.data() + std::max<ssize_t>(size, 0);
    const auto* line_end = std::find(bytes.data(), const_cast<char*>(end), '\n');
    if (line_end > bytes.data() && line_end[-1] == '\r') --line_end;
    const auto length = static_cast<std::size_t>(line_end - bytes.data());
    const bool fits =
        size >= 0 && length <= kMaxSize && std::count(bytes.data(), bytes.data() + length, '\0') == 0;
    if (fits) std::copy_n(bytes.data(), length, text_.data());
    ::explicit_bzero(bytes.data(), bytes.size());
    return fits || refuse_password(path, "not a first line of at most 20 bytes");
}

}  // namespace zel::bmc
