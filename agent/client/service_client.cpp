// SPDX-License-Identifier: GPL-3.0-or-later
#include "service_client.h"

#include <fcntl.h>
#include <sys/time.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "base/own_folder.h"
#include "base/paths.h"
#include "zel/trace.h"

namespace zel::client {
namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kModule = "service_client";

/// Makes a socket call that `option` (SO_SNDTIMEO or SO_RCVTIMEO) bounds, again after an interruption.
template <class Call>
ssize_t call_until(Clock::time_point deadline, int socket, int option, Call call) {
    for (;;) {
        const auto left =
            std::chrono::duration_cast<std::chrono::microseconds>(deadline - Clock::now()).count();
        if (left <= 0) {
            errno = ETIMEDOUT;
            return -1;
        }
        const timeval time{left / 1'000'000, left % 1'000'000};
        if (::setsockopt(socket, SOL_SOCKET, option, &time, sizeof time) != 0) return -1;
        const ssize_t result = call();
        if (result >= 0 || errno != EINTR) return result;
    }
}

Outcome outcome_of(std::string_view answer) {
    const std::string_view verb = answer.substr(0, answer.find(' '));
    if (verb == "ok") return Outcome::ok;
    if (verb == "error") return Outcome::error;
    return Outcome::unreachable;
}

}  // namespace

const std::string& service_socket_path() {
    static const std::string path = base::run_folder() + "/zelntserver.sock";
    return path;
}

const std::string& service_lock_path() {
    static const std::string path = base::run_folder() + "/zelntserver.lock";
    return path;
}

bool mark_service(int lock) {
    // A process' lock; one of an open file would outlive the service in a child that hangs.
    struct ::flock mark {};
    mark.l_type = F_WRLCK;
    return ::fcntl(lock, F_SETLK, &mark) == 0;
}

bool is_service_marked() {
    const auto file = base::open_own(service_lock_path());
    struct ::flock mark {};
    mark.l_type = F_WRLCK;
    return file && ::fcntl(file.get(), F_GETLK, &mark) == 0 && mark.l_type != F_UNLCK;
}

std::optional<SocketAddress> SocketAddress::of(const std::string& path) {
    SocketAddress result;
    result.address_.sun_family = AF_UNIX;
    std::string reachable = path;
    if (path.size() >= sizeof result.address_.sun_path) {
        result.folder_ = base::open_file(base::parent_folder(path), O_PATH | O_DIRECTORY);
        if (!result.folder_) return std::nullopt;
        reachable = "/proc/self/fd/" + std::to_string(result.folder_.get()) + path.substr(path.rfind('/'));
    }
    reachable.copy(result.address_.sun_path, sizeof result.address_.sun_path - 1);
    return result;
}

const sockaddr* SocketAddress::get() const {
    return reinterpret_cast<const sockaddr*>(&address_);
}

Answer request(std::string_view text, Clock::time_point deadline) {
    const auto address = SocketAddress::of(service_socket_path());
    const base::UniqueFd socket(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    if (!address || !socket) return {};
    const int fd = socket.get();
    std::array<char, kMaxMessage + 1> buffer{};
    if (call_until(deadline, fd, SO_SNDTIMEO,
                   [&] { return ::connect(fd, address->get(), address->size()); }) < 0) {
        return {};
    }
    if (call_until(deadline, fd, SO_SNDTIMEO,
                   [&] { return ::send(fd, text.data(), text.size(), MSG_NOSIGNAL); }) < 0) {
        return {};
    }
    const ssize_t got =
        call_until(deadline, fd, SO_RCVTIMEO, [&] { return ::recv(fd, buffer.data(), buffer.size(), 0); });
    if (got <= 0 || static_cast<std::size_t>(got) > kMaxMessage) return {};
    const std::string_view answer(buffer.data(), static_cast<std::size_t>(got));
    const Outcome outcome = outcome_of(answer);
    if (outcome == Outcome::unreachable) return {};
    return {outcome, std::string(answer)};
}

bool notify(std::string_view text) {
    const auto address = SocketAddress::of(service_socket_path());
    const base::UniqueFd socket(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (address && socket && ::connect(socket.get(), address->get(), address->size()) == 0 &&
        ::send(socket.get(), text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT) >= 0) {
        return true;
    }
    ZEL_TRACE(TRACE_LEVEL_ERROR, "ZELntserver was not told \"%.*s\": %s.", static_cast<int>(text.size()),
              text.data(), std::strerror(errno));
    return false;
}

}  // namespace zel::client
