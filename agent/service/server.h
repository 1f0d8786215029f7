// SPDX-License-Identifier: GPL-3.0-or-later
// The service's end of its socket: clients come and go, send one short request at a time and get one short
// answer each. Nothing a client does or leaves undone holds up another one.
#pragma once

#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "base/file_io.h"

namespace zel::service {

class Server {
  public:
    /// `answer` turns a request (at most 256 bytes, of any value) into an answer of at most 256 bytes.
    explicit Server(std::function<std::string(std::string_view)> answer);
    /// Closes all connections and removes the socket.
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    /// Makes the socket (mode 0600) in place of one that a dead service left. The caller holds the lock that
    /// keeps a second service away. False, and logged, on failure.
    bool listen();

    /// Serves clients; each time `signals` can be read, `on_signal` is called and ends this with false.
    /// @return False, and logged, when it can no longer wait for anything.
    [[nodiscard]] bool run(int signals, const std::function<bool()>& on_signal);

    /// Has a message sent to all clients that asked for events. From any thread.
    void publish(const std::string& message);

  private:
    using Clock = std::chrono::steady_clock;
    struct Client {
        base::UniqueFd socket;
        Clock::time_point heard;
        bool listens = false;  ///< It waits for events, and is never idle.
    };

    bool serve(Client& client);
    void accept_waiting();
    void take(base::UniqueFd socket);
    void send_published();
    void drop_idle();
    [[nodiscard]] int milliseconds_to_wait() const;

    std::function<std::string(std::string_view)> answer_;
    base::UniqueFd listener_;
    bool bound_ = false;
    std::vector<Client> clients_;
    base::UniqueFd published_;  ///< Can be read when something is to be sent.
    std::mutex publishing_;
    std::vector<std::string> messages_;
    Clock::time_point accept_after_{};
};

}  // namespace zel::service
