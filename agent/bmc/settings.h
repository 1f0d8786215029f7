// SPDX-License-Identifier: GPL-3.0-or-later
// How the management controller is reached, as agent.conf says:
//
//   [controller]
//   interface=inband            none, inband or lan
//   device=/dev/ipmi0           inband: the kernel's device
//   host=address[:port]         lan: the controller; UDP port 623 unless another is given
//   user=                       lan: at most 16 bytes
//   password_file=              lan: a regular file that only its owner (root or this user) can read; or
//                               the service manager's credential `password` where this process gets one
//   privilege=admin             lan: user, operator or admin
//   cipher_suite=3              lan: 0 to 17; those that do not encrypt are warned of
//   allow_cipher_suite_0=false  lan: true for a suite that asks for no password; 0 is refused else
//   timeout=5                   lan: longest wait for an answer, 1 to 30 seconds
//   watchdog_over_lan=false     lan: true where the watchdog timer may be armed all the same: a pulled cable then
//                               resets the server
//   workaround=                 lan: opensesspriv, for controllers that refuse the privilege otherwise
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace zel::bmc {

enum class Interface { none, inband, lan };

struct Settings {
    Interface interface = Interface::inband;
    std::string device = "/dev/ipmi0";
    std::string host;
    std::string user;
    std::string password_file;
    std::uint8_t privilege = 4;  ///< As IPMI numbers them: user 2, operator 3, admin 4.
    std::uint8_t cipher_suite = 3;
    std::chrono::milliseconds timeout{5000};
    bool watchdog_over_lan = false;
    bool open_session_privilege = false;  ///< The workaround `opensesspriv`.

    bool operator==(const Settings&) const = default;

    /// Names the controller in traces and in the names of its files: "lan 10.0.0.7:623", "inband /dev/ipmi0".
    [[nodiscard]] std::string target() const;
};

/// The settings as they stand now. Nothing, with the reason traced, when the file or a value is not valid.
std::optional<Settings> read_settings();

/// True when there may be somebody to ask by these settings, or by those of agent.conf: a controller in the network, or
/// the kernel's device.
bool is_present(const Settings& settings);
bool is_present();

}  // namespace zel::bmc
