// SPDX-License-Identifier: GPL-3.0-or-later
#include "watchdog_timer.h"

#include <algorithm>
#include <array>
#include <limits>

#include "store/key_file.h"

namespace zel::bmc {
namespace {

enum Command : std::uint8_t { kStart = 0x22, kSet = 0x24, kGet = 0x25 };

constexpr std::uint8_t kUse = 0x07;
constexpr std::uint8_t kRunning = 0x40;
constexpr std::uint8_t kActions = 0x77;
constexpr std::uint8_t kForgotten = 0x80;
constexpr std::size_t kAnswerSize = 8;

TimerAnswer answer_of(const std::optional<Reply>& reply) {
    if (!reply) return TimerAnswer::silent;
    if (reply->ok()) return TimerAnswer::done;
    return reply->completion == kForgotten ? TimerAnswer::forgotten : TimerAnswer::refused;
}

constexpr std::uint16_t word(std::uint8_t low, std::uint8_t high) {
    return static_cast<std::uint16_t>(low | high << 8U);
}

}  // namespace

std::string to_text(const TimerSetting& setting) {
    return std::to_string(setting.use) + ' ' + std::to_string(setting.actions) + ' ' +
           std::to_string(setting.pretimeout) + ' ' + std::to_string(setting.countdown);
}

std::optional<TimerSetting> timer_setting_of(std::string_view text) {
    std::array<std::int64_t, 4> numbers{};
    for (std::int64_t& number : numbers) {
        const bool last = &number == &numbers.back();
        const std::size_t end = last ? text.size() : std::min(text.find(' '), text.size());
        number = store::parse_int(text.substr(0, end)).value_or(-1);
        const std::int64_t most =
            last ? std::numeric_limits<std::uint16_t>::max() : std::numeric_limits<std::uint8_t>::max();
        if (number < 0 || number > most) return std::nullopt;
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return TimerSetting{static_cast<std::uint8_t>(numbers[0]), static_cast<std::uint8_t>(numbers[1]),
                        static_cast<std::uint8_t>(numbers[2]), static_cast<std::uint16_t>(numbers[3])};
}

const char* use_name(std::uint8_t use) {
    constexpr std::array kNames{"reserved", "BIOS FRB2", "BIOS/POST", "OS load", "SMS/OS", "OEM"};
    return use < kNames.size() ? kNames.at(use) : kNames.front();
}

std::string told(const TimerSetting& setting) {
    constexpr std::array kAtEnd{"no action", "hard reset", "power off", "power cycle"};
    const std::size_t action = setting.actions & 0x07U;
    std::string text;
    if ((setting.actions & 0x70U) != 0)
        text = "interrupt " + std::to_string(setting.pretimeout) + " s before, ";
    text += action < kAtEnd.size() ? kAtEnd.at(action) : "unknown action";
    return text + " after " + std::to_string(setting.countdown / 10) + " s";
}

TimerLook look_at_timer(Controller& controller) {
    const auto reply = controller.request(0, kApp, kGet);
    TimerLook look{.answer = answer_of(reply), .timer = {}};
    if (look.answer != TimerAnswer::done) return look;
    if (reply->data.size() < kAnswerSize) return {.answer = TimerAnswer::refused, .timer = {}};
    const auto& data = reply->data;
    Timer& timer = look.timer;
    timer.setting = {static_cast<std::uint8_t>(data[0] & kUse), static_cast<std::uint8_t>(data[1] & kActions),
                     data[2], word(data[4], data[5])};
    timer.running = (data[0] & kRunning) != 0;
    timer.expired = (data[3] >> timer.setting.use & 1U) != 0;
    timer.left = word(data[6], data[7]);
    return look;
}

TimerAnswer set_timer(Controller& controller, const TimerSetting& setting) {
    const std::array<std::uint8_t, 6> data{setting.use,
                                           setting.actions,
                                           setting.pretimeout,
                                           static_cast<std::uint8_t>(1U << setting.use),
                                           static_cast<std::uint8_t>(setting.countdown & 0xff),
                                           static_cast<std::uint8_t>(setting.countdown >> 8)};
    return answer_of(controller.request(0, kApp, kSet, data));
}

TimerAnswer start_timer(Controller& controller) {
    return answer_of(controller.request(0, kApp, kStart));
}

}  // namespace zel::bmc
