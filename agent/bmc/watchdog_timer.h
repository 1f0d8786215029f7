// SPDX-License-Identifier: GPL-3.0-or-later
// The management controller's watchdog timer: it runs down, and acts on the server when nobody starts it again.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "controller.h"

namespace zel::bmc {

/// Who a timer is for, as IPMI numbers them: the operating system, once it runs.
inline constexpr std::uint8_t kUsedBySystem = 4;

/// What a timer is set to; whose it is, is known by that alone.
struct TimerSetting {
    std::uint8_t use = 0;  ///< Who it is for.
    std::uint8_t actions =
        0;  ///< Bits 4 to 6: the interrupt before the end; 0 to 2: what is done at the end.
    std::uint8_t pretimeout = 0;  ///< How long before the end the interrupt is, in seconds.
    std::uint16_t countdown = 0;  ///< From start to end, in tenths of a second.
    bool operator==(const TimerSetting&) const = default;
};

/// As the settings' files hold it: four numbers.
std::string to_text(const TimerSetting& setting);
std::optional<TimerSetting> timer_setting_of(std::string_view text);

/// For people: "NMI 10 s before, then hard reset after 120 s".
std::string told(const TimerSetting& setting);
/// "SMS/OS".
const char* use_name(std::uint8_t use);

struct Timer {
    TimerSetting setting;
    bool running = false;
    bool expired = false;    ///< One for the same use has run out since its flag was cleared.
    std::uint16_t left = 0;  ///< In tenths of a second.
};

enum class TimerAnswer : std::uint8_t {
    done,
    forgotten,  ///< The controller was never told what to set it to, or has forgotten: it was restarted.
    refused,
    silent,  ///< Nobody knows whether it was done.
};

struct TimerLook {
    TimerAnswer answer = TimerAnswer::silent;
    Timer timer;  ///< Where that is done.
};

TimerLook look_at_timer(Controller& controller);
/// Sets it, which stops it, and clears the flag that one for this use has run out.
TimerAnswer set_timer(Controller& controller, const TimerSetting& setting);
/// Has it run from its beginning, whether it was running or not.
TimerAnswer start_timer(Controller& controller);

}  // namespace zel::bmc
