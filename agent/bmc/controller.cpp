// SPDX-License-Identifier: GPL-3.0-or-later
#include "controller.h"

#include <malloc.h>

#include <algorithm>
#include <array>
#include <utility>

#include "freeipmi_library.h"
#include "password.h"
#include "request_limit.h"
#include "zel/trace.h"

namespace zel::bmc {
namespace {

constexpr const char* kModule = "controller";
constexpr std::chrono::seconds kRememberUnreachable{2};
constexpr std::size_t kLargestAnswer = 1024;
// Between the attempts of one request: a second in all, short ones first, for most are busy only just now.
constexpr std::array kPauses{std::chrono::milliseconds(20),  std::chrono::milliseconds(60),
                             std::chrono::milliseconds(120), std::chrono::milliseconds(200),
                             std::chrono::milliseconds(300), std::chrono::milliseconds(300)};
// Where the refusals themselves take long (the kernel's driver refuses for a silent controller, after five
// seconds), they are not waited for once more.
constexpr std::chrono::seconds kLongestRetry{2};

/// When a lost datagram is sent again, in milliseconds. FreeIPMI waits once, once and then twice this long
/// and only then looks at the clock: a little more than a quarter of the time-out ends right after it.
unsigned retransmission(std::chrono::milliseconds timeout) {
    return static_cast<unsigned>((timeout / 4 + timeout / 100).count());
}

/// FreeIPMI keeps the password as long as the session, but needs it no more once the session has its keys:
/// only the MD5 integrity of suites 11 to 14 does. What it does not keep where we look is not wiped.
void wipe_password(ipmi_ctx* context, std::uint8_t suite, const Password& password) {
    if (suite >= 11 && suite <= 14) return;
    if (!password.wipe_copy_in({reinterpret_cast<char*>(context), ::malloc_usable_size(context)}))
        ZEL_TRACE(TRACE_LEVEL_INFO, "The session keeps its password.");
}

bool open_lan(const FreeIpmi& ipmi, ipmi_ctx* context, const Settings& settings, const Password& password) {
    const unsigned workarounds = settings.open_session_privilege
                                     ? IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_OPEN_SESSION_PRIVILEGE
                                     : IPMI_WORKAROUND_FLAGS_DEFAULT;
    const int result = ipmi.ipmi_ctx_open_outofband_2_0(
        context, settings.host.c_str(), settings.user.empty() ? nullptr : settings.user.c_str(),
        password.c_str(), nullptr, 0, settings.privilege, settings.cipher_suite,
        static_cast<unsigned>(settings.timeout.count()), retransmission(settings.timeout), workarounds,
        IPMI_FLAGS_DEFAULT);
    if (result == 0) wipe_password(context, settings.cipher_suite, password);
    return result == 0;
}

bool open_inband(const FreeIpmi& ipmi, ipmi_ctx* context, const Settings& settings) {
    return ipmi.ipmi_ctx_open_inband(context, IPMI_DEVICE_OPENIPMI, 1, 0, 0, settings.device.c_str(),
                                     IPMI_WORKAROUND_FLAGS_DEFAULT, IPMI_FLAGS_DEFAULT) == 0;
}

}  // namespace

Controller::Controller() = default;
Controller::Controller(Settings fixed) : fixed_(std::move(fixed)) {}
Controller::~Controller() = default;

void Controller::Close::operator()(ipmi_ctx* context) const {
    freeipmi()->ipmi_ctx_close(context);
    freeipmi()->ipmi_ctx_destroy(context);
}

std::optional<Reply> Controller::request(std::uint8_t lun, NetFn netfn, std::uint8_t command,
                                         std::span<const std::uint8_t> data, Repeat repeat) {
    std::vector<std::uint8_t> question{command};
    question.insert(question.end(), data.begin(), data.end());
    const auto latest = Clock::now() + kLongestRetry;
    bool renewed = false;
    for (std::size_t pauses = 0;;) {
        if (const char* why = RequestLimit::reached()) {
            ZEL_TRACE(TRACE_LEVEL_ERROR, "Request %02xh/%02xh not sent: %s.", unsigned{netfn},
                      unsigned{command}, why);
            return std::nullopt;
        }
        Attempt answered = attempt(lun, netfn, question);
        auto& reply = answered.reply;
        ++requests_;
        answers_ = reply.has_value();
        if (!reply) {
            if (!answered.session_lost || repeat != Repeat::freely || std::exchange(renewed, true))
                return std::nullopt;
            continue;
        }
        if (!passes(reply->completion, repeat) || pauses == kPauses.size() || Clock::now() > latest)
            return std::move(answered.reply);
        ZEL_TRACE(TRACE_LEVEL_INFO, "Request %02xh/%02xh: completion %02xh, asked again.", unsigned{netfn},
                  unsigned{command}, unsigned{reply->completion});
        RequestLimit::pause(kPauses[pauses++]);
    }
}

Controller::Attempt Controller::attempt(std::uint8_t lun, NetFn netfn,
                                        std::span<const std::uint8_t> question) {
    const std::scoped_lock lock(mutex_);
    const bool had_session = context_ != nullptr;
    if (!context_ && !open()) return {};
    const FreeIpmi& ipmi = *freeipmi();
    std::array<std::uint8_t, kLargestAnswer> answer{};
    const int size = ipmi.ipmi_cmd_raw(context_.get(), lun, netfn, question.data(),
                                       static_cast<unsigned>(question.size()), answer.data(), answer.size());
    if (size >= 2)  // at the least the command again and the completion code
        return {Reply{answer[1], {answer.begin() + 2, answer.begin() + size}}};
    ZEL_TRACE(TRACE_LEVEL_ERROR, "Controller %s, request %02xh/%02xh: %s.", settings_.target().c_str(),
              unsigned{netfn}, unsigned{question.front()},
              size < 0 ? ipmi.ipmi_ctx_errormsg(context_.get()) : "answer too short");
    context_.reset();
    return {{}, had_session};
}

void Controller::end_session() {
    const std::unique_lock lock(mutex_, std::try_to_lock);
    if (lock) context_.reset();
}

std::string Controller::target() {
    const std::scoped_lock lock(mutex_);
    return requests_ > 0 ? settings_.target() : "";
}

/// Opens a session unless that failed just now with the same settings.
bool Controller::open() {
    auto settings = fixed_ ? fixed_ : read_settings();
    if (!settings) return false;
    const bool lately = unreachable_since_ && Clock::now() - *unreachable_since_ < kRememberUnreachable;
    if (lately && *settings == settings_) return false;
    settings_ = *std::move(settings);
    unreachable_since_.reset();
    if (try_open()) return true;
    context_.reset();
    unreachable_since_ = Clock::now();
    return false;
}

bool Controller::try_open() {
    if (settings_.interface == Interface::none) {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "The configuration names no controller.");
        return false;
    }
    const FreeIpmi* ipmi = freeipmi();
    if (!ipmi) return false;
    context_ = Context(ipmi->ipmi_ctx_create());
    if (!context_) {
        ZEL_TRACE(TRACE_LEVEL_RESOURCE, "No memory for a session.");
        return false;
    }
    const bool lan = settings_.interface == Interface::lan;
    Password password;
    if (lan && !settings_.password_file.empty() && !password.read(settings_.password_file)) return false;
    if (lan ? open_lan(*ipmi, context_.get(), settings_, password)
            : open_inband(*ipmi, context_.get(), settings_)) {
        return true;
    }
    ZEL_TRACE(TRACE_LEVEL_ERROR, "Controller %s: %s.", settings_.target().c_str(),
              ipmi->ipmi_ctx_errormsg(context_.get()));
    return false;
}

Controller& controller() {
    // Never destroyed: threads may still ask while the process ends.
    static Controller& instance = *new Controller;
    return instance;
}

}  // namespace zel::bmc
