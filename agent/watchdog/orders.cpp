// SPDX-License-Identifier: GPL-3.0-or-later
#include "orders.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>

#include "base/file_io.h"
#include "settings/registry_values.h"
#include "store/agent_config.h"

namespace zel::watchdog {
namespace {

/// How long before the end the interrupt is: time enough for the kernel to write down where it stood.
constexpr std::uint8_t kPretimeout = 10;

std::string kernel_file(const char* name) {
    return store::configured("monitor", "sys_kernel", "/sys/kernel") + '/' + name;
}

bool is_loaded(const char* kind) {
    const auto file = base::open_file(kernel_file(kind), O_RDONLY);
    std::string text;
    return file && base::read_at_most(file.get(), 8, text) && text.starts_with('1');
}

/// The kernel's own way to the same timer.
bool has_kernel_driver() {
    const std::string modules = store::configured("monitor", "sys_module", "/sys/module");
    return ::access((modules + "/ipmi_watchdog").c_str(), F_OK) == 0;
}

/// Why no timer may be armed; empty where it may.
std::string objection(const std::optional<bmc::Settings>& controller, const std::string& key) {
    if (!controller) return "[controller] of agent.conf is not valid";
    if (!bmc::is_present(*controller)) return "there is no management controller";
    if (controller->interface == bmc::Interface::lan && !controller->watchdog_over_lan)
        return "the controller is reached over the LAN, and watchdog_over_lan of agent.conf is not true";
    if (has_kernel_driver()) return "in use by the kernel: its module ipmi_watchdog is loaded";
    if (!settings::is_meant_to_arm(key))
        return "saved by an older version, or by hand; switch it off and on again to arm it";
    return {};
}

bmc::TimerSetting timer_of(std::uint64_t actions, std::uint64_t seconds) {
    const auto code = static_cast<std::uint8_t>(actions);
    const std::uint8_t before = (code & settings::kInterruptBefore) != 0 ? kPretimeout : std::uint8_t{0};
    return {bmc::kUsedBySystem, code, before, static_cast<std::uint16_t>(seconds * 10)};
}

template <class Table>
Orders orders_of(const Table& table, bool wanted, const bmc::TimerSetting& timer,
                 const std::optional<bmc::Settings>& controller) {
    Orders orders{.wanted = wanted, .timer = timer};
    orders.generation = settings::read_number(table.key, settings::kGeneration);
    if (wanted) orders.objection = objection(controller, table.key);
    if (is_loaded("kexec_crash_loaded"))
        orders.remark = "kdump is loaded: a dump that takes longer is cut off";
    return orders;
}

}  // namespace

std::optional<Orders> watchdog_orders(const std::optional<bmc::Settings>& controller) {
    const auto settings = settings::read_record(settings::kWatchdog);
    if (!settings) return std::nullopt;
    Orders orders = orders_of(settings::kWatchdog, settings->qwHangEnable != 0,
                              timer_of(settings->qwTimeoutAct, settings->qwTimeout), controller);
    orders.interval = std::chrono::seconds(settings->qwInterval);
    return orders;
}

std::optional<Orders> shutdown_orders(const std::optional<bmc::Settings>& controller) {
    const auto settings = settings::read_record(settings::kShutdown);
    if (!settings) return std::nullopt;
    Orders orders = orders_of(settings::kShutdown, settings->dwHangEnable != 0,
                              timer_of(settings->dwTimeoutAct, settings->dwTimeout), controller);
    // The kernel that takes over would be ended by it.
    if (orders.objection.empty() && is_loaded("kexec_loaded"))
        orders.objection = "kexec is loaded: it is no restart that the timer waits for";
    return orders;
}

std::optional<bmc::Settings> feeder_controller() {
    constexpr std::chrono::seconds kLongest{5};
    auto settings = bmc::read_settings();
    if (settings) settings->timeout = std::min<std::chrono::milliseconds>(settings->timeout, kLongest);
    return settings;
}

}  // namespace zel::watchdog
