// SPDX-License-Identifier: GPL-3.0-or-later
// Talking to the agent's service, ZELntserver, on its socket `zelntserver.sock` in the runtime folder: a
// Unix SOCK_SEQPACKET socket, one short text each way.
//
//   "ping"              "ok ZELntserver <version>"
//   "reload"            "ok": the service has reloaded all settings
//   "alert test"        "ok": an event that is marked as a test was told
//   "reset <resource>"  "ok", or "error <why>"; the service reloads that resource's settings
#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "base/file_io.h"

namespace zel::client {

/// Longest request and answer, in bytes.
inline constexpr std::size_t kMaxMessage = 256;

/// Where the service listens; for the service itself and its clients.
const std::string& service_socket_path();

/// The file whose lock only one service has.
const std::string& service_lock_path();

/// Marks the lock file, open for writing, as a running service's. The mark is this very process', not its
/// children's, and goes with it, however it ends. False, with errno set, on failure.
bool mark_service(int lock);

/// True while a marked service runs. It wakes nobody up, as a request does twice, and tells of a service that hangs that
/// it runs. False also where the caller may not look, and of a service from before there were marks: ask those.
bool is_service_marked();

/// A Unix socket's address. A path too long for `sun_path` (its last part is short) goes through the opened
/// folder, so the object has to live until bind or connect has returned.
class SocketAddress {
  public:
    /// Nothing when the path is too long and its folder cannot be opened (errno says why).
    static std::optional<SocketAddress> of(const std::string& path);

    [[nodiscard]] const sockaddr* get() const;
    [[nodiscard]] socklen_t size() const { return sizeof address_; }

  private:
    base::UniqueFd folder_;
    sockaddr_un address_{};
};

enum class Outcome {
    ok,           ///< The service did what was asked.
    error,        ///< The service answered that it could not; the text says why.
    unreachable,  ///< No service, no answer in time, or an invalid one.
};

struct Answer {
    Outcome outcome = Outcome::unreachable;
    std::string text;  ///< The whole answer; empty when unreachable.
};

/// Sends one request and waits for its answer, until `deadline` at the latest.
Answer request(std::string_view text, std::chrono::steady_clock::time_point deadline);

/// Sends one request and waits for nothing, not even for a hung service. A request that could not be sent is
/// logged and in the result.
bool notify(std::string_view text);

}  // namespace zel::client
