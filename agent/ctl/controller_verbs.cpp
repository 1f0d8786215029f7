// SPDX-License-Identifier: GPL-3.0-or-later
// watchdog, identify, boot-mode: what the agent's library does for the panels.
#include <charconv>
#include <chrono>
#include <thread>

#include "answer.h"
#include "bmc/settings.h"
#include "bmc/watchdog_timer.h"
#include "document.h"
#include "resource.h"
#include "verbs.h"
#include "watchdog/page.h"
#include "zel/access_control.h"

namespace zel::ctl {
namespace {

constexpr const char* kNoController = "no management controller is configured";
constexpr const char* kSilent = "the management controller does not answer";

Exit refuse(Answer& answer, Exit exit, const char* why) {
    answer.problems.push_back({"", why});
    return exit;
}

/// Whole seconds, 0 for "off".
std::optional<std::uint8_t> parse_seconds(const std::string& text) {
    std::uint8_t seconds = 0;
    if (text == "off") return seconds;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, seconds);
    if (error != std::errc{} || stop != end || seconds == 0) return std::nullopt;
    return seconds;
}

// ---- The watchdog timer ----

/// Stops the timer that a feeder armed, whether that feeder lives or not; another's is left alone. False while the
/// controller does not answer.
bool disarm() {
    constexpr int kAttempts = 5;
    constexpr std::chrono::milliseconds kPause{300};
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        const auto look = bmc::look_at_timer(bmc::controller());
        if (look.answer != bmc::TimerAnswer::done) return false;
        if (!look.timer.running || !watchdog::is_held(watchdog::read_page(), look.timer.setting)) return true;
        bmc::set_timer(bmc::controller(), look.timer.setting);
        // A feeder that was about to feed it may have started it again. It sees now that somebody stopped it.
        std::this_thread::sleep_for(kPause);
        if (attempt == 0) watchdog::wake_feeder();
        std::this_thread::sleep_for(kPause);
    }
    return false;
}

std::string told_timer(const bmc::Timer& timer) {
    std::string text = std::string(timer.running ? "running" : "stopped") + ", " +
                       bmc::use_name(timer.setting.use) + ", " + told(timer.setting);
    if (timer.running) text += ", " + std::to_string(timer.left / 10) + " s left";
    return text + (timer.expired ? ", has run out" : "");
}

/// What the feeder tells, and what the controller says of the timer itself.
void tell_watchdog(Answer& answer, bool ask) {
    auto known = watchdog::what_is_known();
    std::string timer;
    if (ask && known.page.state != watchdog::State::off) {
        const auto look = bmc::look_at_timer(bmc::controller());
        const bool seen = look.answer == bmc::TimerAnswer::done;
        timer = seen ? told_timer(look.timer) : kSilent;
        if (seen && known.state == watchdog::State::armed &&
            !(look.timer.running && watchdog::is_held(known.page, look.timer.setting))) {
            known.state = watchdog::State::lost;
            known.detail = look.timer.running ? watchdog::in_use(look.timer.setting)
                                              : "stopped by another program or zelctl";
        }
    }
    Json json{{"state", watchdog::state_name(known.state)}, {"detail", known.detail}};
    answer.text = std::string(watchdog::state_name(known.state)) +
                  (known.detail.empty() ? "" : ": " + known.detail) + '\n';
    if (!timer.empty()) {
        json["timer"] = timer;
        answer.text += "timer: " + timer + '\n';
    }
    answer.json["watchdog"] = std::move(json);
}

Exit tell_boot_mode(Answer& answer) {
    int mode = MOVAL_MODE_OFF;
    if (::GetUtlBootMode(&mode) == 0)
        return refuse(answer, Exit::no_controller, "the boot mode cannot be read; the trace log says why");
    const bool on = mode == MOVAL_MODE_ON;
    answer.json["boot_mode"] = on ? "on" : "off";
    answer.text = on ? "on\n" : "off\n";
    return Exit::done;
}

}  // namespace

Exit run_watchdog(const Request& request, Answer& answer) {
    answer.json = {{"schema", kSchema}};
    const std::string& word = request.words.front();
    if (word != "status" && word != "disarm")
        return refuse(answer, Exit::usage, "watchdog needs status or disarm");
    const bool present = bmc::is_present();
    if (word == "disarm") {
        if (!present) return refuse(answer, Exit::no_controller, kNoController);
        if (!disarm()) return refuse(answer, Exit::no_controller, kSilent);
    }
    tell_watchdog(answer, present);
    return Exit::done;
}

Exit run_identify(const Request& request, Answer& answer) {
    answer.json = {{"schema", kSchema}};
    auto seconds = parse_seconds(request.words.front());
    if (!seconds) return refuse(answer, Exit::usage, "identify needs 1 to 255 seconds, or off");
    if (!bmc::is_present()) return refuse(answer, Exit::no_controller, kNoController);
    if (::ZELChassisIdentify_V15(&*seconds) == CHASSIS_IDENTIFY_FAILED)
        return refuse(answer, Exit::no_controller,
                      "the management controller did not do it; the trace log says why");
    return Exit::done;
}

Exit run_boot_mode(const Request& request, Answer& answer) {
    answer.json = {{"schema", kSchema}};
    const std::string& word = request.words.front();
    if (word != "get" && word != "on" && word != "off")
        return refuse(answer, Exit::usage, "boot-mode needs get, on or off");
    if (::GetInstallStatus() == 0)
        return refuse(answer, Exit::no_such_object, "no maintenance boot mode is set up on this server");
    const bool on = word == "on";
    if (word != "get" && ::MOVALSetMode(on ? MOVAL_MODE_ON : MOVAL_MODE_OFF, on ? 1 : 0) != 0)
        return refuse(answer, Exit::no_controller, "the boot mode cannot be set; the trace log says why");
    return tell_boot_mode(answer);
}

}  // namespace zel::ctl
