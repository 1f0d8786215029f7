// SPDX-License-Identifier: GPL-3.0-or-later
#include "settings.h"

#include <unistd.h>

#include <array>
#include <atomic>

#include "password.h"
#include "store/agent_config.h"
#include "zel/trace.h"

namespace zel::bmc {
namespace {

constexpr const char* kModule = "controller_settings";
constexpr std::size_t kLongestUser = 16;

constexpr std::array kInterfaces{store::Choice<Interface>{"none", Interface::none},
                                 store::Choice<Interface>{"inband", Interface::inband},
                                 store::Choice<Interface>{"lan", Interface::lan}};
constexpr std::array kPrivileges{store::Choice<std::uint8_t>{"user", 2},
                                 store::Choice<std::uint8_t>{"operator", 3},
                                 store::Choice<std::uint8_t>{"admin", 4}};
constexpr std::array kWorkarounds{store::Choice<bool>{"", false}, store::Choice<bool>{"opensesspriv", true}};

/// What a cipher suite leaves open to others; null for one that encrypts.
const char* weakness_of(std::uint8_t suite) {
    switch (suite) {
        case 0:
            return "anybody can act as the user, without the password";
        case 1:
        case 6:
        case 15:
            return "whoever is on the way can read and change what is said";
        case 2:
        case 7:
        case 11:
        case 16:
            return "whoever is on the way can read what is said";
        default:
            return nullptr;
    }
}

/// Warns of a weak suite, once: the settings are read for every session.
void warn_of(std::uint8_t suite) {
    static std::atomic<int> warned = -1;
    const char* const weakness = weakness_of(suite);
    if (weakness == nullptr || warned.exchange(suite) == suite) return;
    ZEL_TRACE(TRACE_LEVEL_ERROR, "With cipher_suite=%d, %s; 3 and 17 are safe.", int{suite}, weakness);
}

}  // namespace

std::string Settings::target() const {
    switch (interface) {
        case Interface::inband:
            return "inband " + device;
        case Interface::lan:
            return "lan " + host;
        case Interface::none:
            break;
    }
    return "none";
}

std::optional<Settings> read_settings() {
    store::ConfigGroup group("controller");
    if (group.status() != store::Status::ok) return std::nullopt;
    Settings settings;
    settings.interface = group.choice("interface", kInterfaces, settings.interface);
    settings.device = group.text("device", settings.device);
    settings.host = group.text("host", "");
    settings.user = group.text("user", "");
    settings.password_file = password_file(group.text("password_file", ""));
    settings.privilege = group.choice("privilege", kPrivileges, settings.privilege);
    settings.open_session_privilege = group.choice("workaround", kWorkarounds, false);
    settings.cipher_suite = static_cast<std::uint8_t>(group.number("cipher_suite", 0, 17, 3));
    const bool unprotected = group.choice("allow_cipher_suite_0", store::kTruths, false);
    settings.watchdog_over_lan = group.choice("watchdog_over_lan", store::kTruths, false);
    settings.timeout = std::chrono::seconds(group.number("timeout", 1, 30, 5));
    if (settings.interface == Interface::lan) {
        if (settings.host.empty()) group.refuse("host");
        if (settings.user.size() > kLongestUser) group.refuse("user");
        if (settings.cipher_suite == 0 && !unprotected)
            group.refuse("cipher_suite", "protects nothing, and allow_cipher_suite_0 is not true");
        if (group.valid()) warn_of(settings.cipher_suite);
    }
    return group.valid() ? std::optional(settings) : std::nullopt;
}

bool is_present(const Settings& settings) {
    switch (settings.interface) {
        case Interface::lan:
            return true;
        case Interface::inband:
            return ::access(settings.device.c_str(), F_OK) == 0;
        case Interface::none:
            break;
    }
    return false;
}

bool is_present() {
    const auto settings = read_settings();
    return settings && is_present(*settings);
}

}  // namespace zel::bmc
