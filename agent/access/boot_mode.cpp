// SPDX-License-Identifier: GPL-3.0-or-later
// The maintenance boot mode: what the server boots into once, when an administrator has named a target.
//
//   SOFTWARE/QUD/ZELAgent/Maintenance
//     Target      "ipmi:diag", "ipmi:safe" (boot flags of the management controller) or "grub:<entry>"
//     Immediate   1 when the last one to switch it on meant to reboot at once, else 0
#include <array>
#include <optional>
#include <string>
#include <variant>

#include "bmc/boot_options.h"
#include "settings/registry_values.h"
#include "system/grub_entry.h"
#include "zel/access_control.h"
#include "zel/trace.h"

namespace {

namespace settings = zel::settings;
namespace bmc = zel::bmc;
using bmc::BootDevice;

constexpr const char* kModule = "boot_mode";
constexpr const char* kKey = "SOFTWARE/QUD/ZELAgent/Maintenance";
constexpr settings::Text kTarget{kKey, "Target", "", ""};
constexpr const char* kImmediate = "Immediate";
constexpr int kNotSet = 1;

struct NoTarget {};
struct GrubEntry {
    std::string name;
};
using Target = std::variant<NoTarget, BootDevice, GrubEntry>;

/// Nothing when the registry cannot be read.
std::optional<Target> read_target() {
    constexpr std::string_view kGrub = "grub:";
    if (!settings::registry_readable()) return std::nullopt;
    const std::string text = settings::read_text(kTarget);
    if (text.empty()) return NoTarget{};
    if (text == "ipmi:diag") return BootDevice::diagnostic;
    if (text == "ipmi:safe") return BootDevice::safe;
    if (text.starts_with(kGrub) && text.size() > kGrub.size()) return GrubEntry{text.substr(kGrub.size())};
    ZEL_TRACE(TRACE_LEVEL_ERROR, "%s %s \"%s\" is none that is known.", kKey, kTarget.name, text.c_str());
    return NoTarget{};
}

/// Whether the next boot goes to the target. Nothing when that cannot be read.
struct IsOn {
    std::optional<bool> operator()(NoTarget) const { return false; }
    std::optional<bool> operator()(BootDevice device) const { return bmc::boots_from(device); }
    std::optional<bool> operator()(const GrubEntry& entry) const {
        const auto next = zel::system::next_grub_entry();
        if (!next) return std::nullopt;
        return *next == entry.name;
    }
};

/// Switches it on or off; what is somebody else's is left when switching off.
struct Switch {
    bool on;

    bool operator()(NoTarget) const { return false; }
    bool operator()(BootDevice device) const { return bmc::set_boot_device(device, on); }
    bool operator()(const GrubEntry& entry) const {
        if (on) return zel::system::set_next_grub_entry(entry.name);
        const auto before = IsOn{}(entry);
        return before && (!*before || zel::system::set_next_grub_entry(""));
    }
};

}  // namespace

extern "C" int GetInstallStatus(void) try {
    constexpr int kUnknown = -1;
    const auto target = read_target();
    if (!target) return kUnknown;
    if (std::holds_alternative<NoTarget>(*target)) return 0;
    const auto* device = std::get_if<BootDevice>(&*target);
    return !device || bmc::boots_from(*device) ? 1 : kUnknown;
} catch (...) {
    return -1;
}

extern "C" int GetUtlBootMode(int* mode) try {
    const auto target = read_target();
    if (!mode || !target) return 0;
    const auto on = std::visit(IsOn{}, *target);
    if (!on) return 0;
    *mode = *on ? MOVAL_MODE_ON : MOVAL_MODE_OFF;
    return 1;
} catch (...) {
    return 0;
}

extern "C" int MOVALSetMode(int mode, int flag) try {
    const bool on = mode == MOVAL_MODE_ON || mode == MOVAL_MODE_ON_REBOOT;
    if ((!on && mode != MOVAL_MODE_OFF) || flag != (on ? 1 : 0)) return kNotSet;
    const auto target = read_target();
    if (!target || !std::visit(Switch{on}, *target)) return kNotSet;
    const std::uint32_t immediate = mode == MOVAL_MODE_ON_REBOOT ? 1 : 0;
    return settings::write_values(kKey, std::array{zel::store::registry::Entry{kImmediate, immediate}})
               ? 0
               : kNotSet;
} catch (...) {
    return kNotSet;
}
