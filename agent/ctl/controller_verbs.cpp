// SPDX-License-Identifier: GPL-3.0-or-later
// watchdog, identify, boot-mode: what the agent's library does for the panels.
#include <charconv>

#include "answer.h"
#include "bmc/settings.h"
#include "document.h"
#include "resource.h"
#include "verbs.h"
#include "zel/access_control.h"

namespace zel::ctl {
namespace {

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
    constexpr const char* kNotArmed = "not armed by this version";
    answer.json = {{"schema", kSchema}, {"watchdog", {{"state", "off"}, {"detail", kNotArmed}}}};
    const std::string& word = request.words.front();
    if (word != "status" && word != "disarm")
        return refuse(answer, Exit::usage, "watchdog needs status or disarm");
    answer.text = std::string("off: ") + kNotArmed + '\n';
    return Exit::done;
}

Exit run_identify(const Request& request, Answer& answer) {
    answer.json = {{"schema", kSchema}};
    auto seconds = parse_seconds(request.words.front());
    if (!seconds) return refuse(answer, Exit::usage, "identify needs 1 to 255 seconds, or off");
    if (!bmc::is_present())
        return refuse(answer, Exit::no_controller, "no management controller is configured");
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
