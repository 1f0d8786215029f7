// SPDX-License-Identifier: GPL-3.0-or-later
// Requests to the management controller, in-band or over the LAN.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "settings.h"

struct ipmi_ctx;

namespace zel::bmc {

/// Network functions of requests, as IPMI numbers them.
enum NetFn : std::uint8_t { kChassis = 0x00, kSensorEvent = 0x04, kApp = 0x06, kStorage = 0x0a };

/// What the controller answered.
struct Reply {
    std::uint8_t completion = 0;  ///< Completion code; 0 is success.
    std::vector<std::uint8_t> data;

    [[nodiscard]] bool ok() const { return completion == 0; }
};

/// Whether a request may be sent again when nobody knows whether it was carried out.
enum class Repeat : std::uint8_t {
    freely,      ///< Carried out twice it does the same as once.
    if_refused,  ///< Only after a refusal that says that nothing was done.
};

/// Whether the same request may well be taken a moment later. Not among them: a lost reservation, which the
/// caller has to renew first; an update of the firmware, which takes minutes; "not supported in the present
/// state" and "unspecified error", which last far more often than they pass.
constexpr bool passes(std::uint8_t completion, Repeat repeat) {
    switch (completion) {
        case 0xc0:  // node busy
        case 0xc4:  // out of space: of a message's buffer, for nothing of ours fills anything up
        case 0xd0:  // the repository of sensor records is being updated
        case 0xd2:  // the controller is starting
            return true;
        // Whether these were carried out is not known.
        case 0xc3:  // time-out within the controller
        case 0xce:  // it has no answer at hand
        case 0xcf:  // it takes the request for one that it has answered
            return repeat == Repeat::freely;
        default:
            return false;
    }
}

/// One controller, reached as agent.conf says at the time. All members may be called from any thread; requests wait for
/// each other.
class Controller {
  public:
    Controller();
    /// One that is reached as these settings say, whatever agent.conf says by now.
    explicit Controller(Settings fixed);
    ~Controller();
    Controller(const Controller&) = delete;
    Controller& operator=(const Controller&) = delete;

    /// Sends one request and waits for its answer. Opens a session when there is none.
    ///
    /// What passes by itself is waited for: a controller that is busy or starting is asked again, with pauses
    /// of a second in all, and only then its refusal is the answer. A session that was lost since the last
    /// request is replaced once. Requests of other threads go between. A controller that could not be reached
    /// is not tried again for two seconds, unless the settings changed: a program that asks several things in
    /// a row waits once. The thread's RequestLimit holds.
    /// @param lun  Logical unit, 0 to 3.
    /// @return Nothing, with the reason traced, when the controller gave no answer within the time-out (twice
    ///         that when it falls silent within a session), or no request may begin any more.
    std::optional<Reply> request(std::uint8_t lun, NetFn netfn, std::uint8_t command,
                                 std::span<const std::uint8_t> data = {}, Repeat repeat = Repeat::freely);

    /// Ends the session, if there is one and no other thread has a request under way in it: controllers have few of
    /// them, and give an idle one up after a while without telling.
    void end_session();

    /// The controller that the last request went to, as Settings::target(); empty before the first.
    std::string target();

    /// How many requests were tried, and whether the last one was answered. They wait for nobody.
    [[nodiscard]] std::uint64_t requests() const { return requests_; }
    [[nodiscard]] bool answers() const { return answers_; }

  private:
    struct Close {
        void operator()(ipmi_ctx* context) const;
    };
    using Context = std::unique_ptr<ipmi_ctx, Close>;
    using Clock = std::chrono::steady_clock;

    /// One way to the controller and back.
    struct Attempt {
        std::optional<Reply> reply;
        bool session_lost = false;  ///< There was a session before, and it gave no answer.
    };

    Attempt attempt(std::uint8_t lun, NetFn netfn, std::span<const std::uint8_t> question);
    bool open();
    bool try_open();

    const std::optional<Settings> fixed_;
    std::mutex mutex_;
    Settings settings_;  // of the last attempt to open
    Context context_;
    std::optional<Clock::time_point> unreachable_since_;
    std::atomic<std::uint64_t> requests_ = 0;
    std::atomic<bool> answers_ = false;
};

/// The process's way to the controller.
Controller& controller();

}  // namespace zel::bmc
