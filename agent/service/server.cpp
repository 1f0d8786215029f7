// SPDX-License-Identifier: GPL-3.0-or-later
#include "server.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include "client/service_client.h"
#include "log.h"

namespace zel::service {
namespace {

constexpr std::size_t kMaxClients = 32;
constexpr std::chrono::seconds kIdleTime{10};
/// Rest after the system had no descriptor or memory for a new client.
constexpr std::chrono::seconds kAcceptPause{1};

bool is_socket(const std::string& path) {
    struct stat info {};
    return ::lstat(path.c_str(), &info) == 0 && S_ISSOCK(info.st_mode);
}

/// Binds with mode 0600 from the first moment. Called before any other thread runs: the umask is shared.
bool bind_private(int socket, const client::SocketAddress& address) {
    const mode_t former = ::umask(S_IXUSR | S_IRWXG | S_IRWXO);
    const bool bound = ::bind(socket, address.get(), address.size()) == 0;
    ::umask(former);
    return bound;
}

bool is_allowed(int socket) {
    ucred peer{};
    socklen_t size = sizeof peer;
    return ::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 &&
           (peer.uid == 0 || peer.uid == ::geteuid());
}

}  // namespace

Server::Server(std::function<std::string(std::string_view)> answer)
    : answer_(std::move(answer)), published_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

Server::~Server() {
    if (bound_) ::unlink(client::service_socket_path().c_str());
}

bool Server::listen() {
    const std::string& path = client::service_socket_path();
    if (is_socket(path)) ::unlink(path.c_str());
    const auto address = client::SocketAddress::of(path);
    listener_ = base::UniqueFd(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    bound_ = address && listener_ && bind_private(listener_.get(), *address);
    if (bound_ && ::listen(listener_.get(), SOMAXCONN) == 0) return true;
    log(path + ": " + std::strerror(errno));
    return false;
}

bool Server::run(int signals, const std::function<bool()>& on_signal) {
    for (;;) {
        const short accepting = Clock::now() < accept_after_ ? 0 : POLLIN;
        std::vector<pollfd> watched{
            {signals, POLLIN, 0}, {listener_.get(), accepting, 0}, {published_.get(), POLLIN, 0}};
        const std::size_t first = watched.size();
        for (const Client& client : clients_)
            watched.push_back({client.socket.get(), POLLIN, 0});
        if (::poll(watched.data(), watched.size(), milliseconds_to_wait()) < 0) {
            if (errno == EINTR) continue;
            log(std::string("poll: ") + std::strerror(errno));
            return false;
        }
        if (watched[0].revents != 0 && !on_signal()) return true;
        for (std::size_t i = 0; i < clients_.size(); ++i) {
            if (watched[i + first].revents != 0 && !serve(clients_[i])) clients_[i].socket.reset();
        }
        if (watched[2].revents != 0) send_published();
        drop_idle();
        if (watched[1].revents != 0) accept_waiting();
    }
}

/// Answers one request. False when the connection is of no more use.
bool Server::serve(Client& client) {
    std::array<char, client::kMaxMessage + 1> buffer{};
    const ssize_t got = ::recv(client.socket.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (got < 0) return errno == EAGAIN || errno == EINTR;
    if (got == 0) return false;
    client.heard = Clock::now();
    const auto size = static_cast<std::size_t>(got);
    if (std::string_view(buffer.data(), size) == "events") client.listens = true;
    const std::string answer =
        size > client::kMaxMessage ? "error request too long" : answer_({buffer.data(), size});
    // A client that does not take its answers loses the connection, as one that has gone.
    return ::send(client.socket.get(), answer.data(), answer.size(), MSG_DONTWAIT | MSG_NOSIGNAL) >= 0;
}

void Server::publish(const std::string& message) {
    constexpr std::uint64_t kOnce = 1;
    const std::lock_guard lock(publishing_);
    messages_.push_back(message);
    if (::write(published_.get(), &kOnce, sizeof kOnce) < 0) return;  // it is full: the loop will come
}

/// A listener that does not take an event is no longer one: what it missed stands in the log.
void Server::send_published() {
    std::uint64_t times = 0;
    if (::read(published_.get(), &times, sizeof times) < 0) return;
    std::vector<std::string> messages;
    {
        const std::lock_guard lock(publishing_);
        messages.swap(messages_);
    }
    for (Client& client : clients_) {
        const auto takes = [&](const std::string& message) {
            return ::send(client.socket.get(), message.data(), message.size(), MSG_DONTWAIT | MSG_NOSIGNAL) >=
                   0;
        };
        if (client.listens && !std::ranges::all_of(messages, takes)) client.socket.reset();
    }
}

void Server::accept_waiting() {
    for (std::size_t i = 0; i < kMaxClients; ++i) {
        base::UniqueFd socket(::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (socket) {
            take(std::move(socket));
        } else if (errno == EAGAIN) {
            return;
        } else if (errno != EINTR && errno != ECONNABORTED) {
            log(std::string("accept: ") + std::strerror(errno));
            accept_after_ = Clock::now() + kAcceptPause;
            return;
        }
    }
}

/// Adds a client, in place of the one silent for longest when there are too many.
void Server::take(base::UniqueFd socket) {
    if (!is_allowed(socket.get())) return;
    Client client{std::move(socket), Clock::now()};
    if (!serve(client)) return;
    if (clients_.size() >= kMaxClients)
        clients_.erase(std::ranges::min_element(
            clients_, {}, [](const Client& one) { return std::pair(one.listens, one.heard); }));
    clients_.push_back(std::move(client));
}

void Server::drop_idle() {
    const auto limit = Clock::now() - kIdleTime;
    std::erase_if(clients_, [&](const Client& client) {
        return !client.socket || (!client.listens && client.heard <= limit);
    });
}

/// Until the next client has been idle for too long, or accepting may go on; -1 when there is neither.
int Server::milliseconds_to_wait() const {
    const auto now = Clock::now();
    auto next = Clock::time_point::max();
    if (accept_after_ > now) next = accept_after_;
    for (const Client& client : clients_)
        if (!client.listens) next = std::min(next, client.heard + kIdleTime);
    if (next == Clock::time_point::max()) return -1;
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(next - now).count();
    return static_cast<int>(std::clamp<decltype(wait)>(wait, 0, 60'000));
}

}  // namespace zel::service
