// SPDX-License-Identifier: GPL-3.0-or-later
#include "boot_options.h"

#include <unistd.h>

#include <array>
#include <initializer_list>
#include <vector>

#include "controller_visit.h"
#include "zel/tracelog.h"

namespace zel::access {
namespace {

constexpr const char* kModule = "boot_options";

enum Command : std::uint8_t { kSetOptions = 0x08, kGetOptions = 0x09 };
enum Parameter : std::uint8_t { kProgress = 0, kClearing = 3, kAcknowledge = 4, kFlags = 5 };
enum Progress : std::uint8_t { kComplete = 0, kInProgress = 1, kCommit = 2 };
constexpr std::uint8_t kOthersAtWork = 0x81;  // completion code of kInProgress

// The first two of the five bytes of boot flags.
constexpr std::uint8_t kValid = 0x80;
constexpr std::uint8_t kEfi = 0x20;
constexpr std::uint8_t kDeviceMask = 0x3c;

// A controller drops the flags a minute later, when no Chassis Control follows, or on events of other kinds,
// unless told to keep them: at an operating system's reboot they would be gone.
constexpr std::uint8_t kKeepAlways = 0x1f;
constexpr std::uint8_t kKeepAfterAMinute = 0x08;
// Nobody has handled the boot options yet.
constexpr std::uint8_t kByNobody = 0xff;

bool is_efi() {
    return ::access("/sys/firmware/efi", F_OK) == 0;
}

/// Writes one parameter. The completion code, also traced when it is not 0; nothing without an answer.
std::optional<std::uint8_t> write(Parameter parameter, std::initializer_list<std::uint8_t> values) {
    std::vector<std::uint8_t> data{parameter};
    data.insert(data.end(), values);
    const auto reply = bmc::controller().request(0, bmc::kChassis, kSetOptions, data);
    if (!reply) return std::nullopt;
    if (!reply->ok()) {
        TraceLog(TRACE_LEVEL_ERROR, kModule, __func__, __LINE__,
                 "Boot option %u is refused with completion code %02xh.", unsigned{parameter},
                 unsigned{reply->completion});
    }
    return reply->completion;
}

/// The boot flags' first two bytes, zero when they are not valid.
std::optional<std::array<std::uint8_t, 2>> read_flags() {
    constexpr std::array<std::uint8_t, 3> kWhich{kFlags, 0, 0};
    constexpr std::size_t kAnswer = 4;  // version, parameter, flags ...
    const auto reply = bmc::controller().request(0, bmc::kChassis, kGetOptions, kWhich);
    if (!reply) return std::nullopt;
    if (!reply->ok() || reply->data.size() < kAnswer) {
        TraceLog(TRACE_LEVEL_ERROR, kModule, __func__, __LINE__,
                 "The boot flags cannot be read: completion code %02xh, %zu bytes.",
                 unsigned{reply->completion}, reply->data.size());
        return std::nullopt;
    }
    constexpr std::uint8_t kLocked = 0x80;
    const bool valid = (reply->data[1] & kLocked) == 0 && (reply->data[2] & kValid) != 0;
    return valid ? std::array{reply->data[2], reply->data[3]} : std::array<std::uint8_t, 2>{};
}

/// Controllers may lack all but the flags, which are read back; so only the flags' refusal counts.
bool write_flags(BootDevice device, bool on) {
    if (!on) return write(kFlags, {0, 0, 0, 0, 0}) == 0;
    if (write(kClearing, {kKeepAlways}) != 0) write(kClearing, {kKeepAfterAMinute});
    write(kAcknowledge, {kByNobody, kByNobody});
    const auto valid = static_cast<std::uint8_t>(kValid | (is_efi() ? kEfi : 0));
    return write(kFlags, {valid, static_cast<std::uint8_t>(device), 0, 0, 0}) == 0;
}

std::optional<bool> names(BootDevice device) {
    const auto flags = read_flags();
    if (!flags) return std::nullopt;
    return ((*flags)[0] & kValid) != 0 && ((*flags)[1] & kDeviceMask) == static_cast<std::uint8_t>(device);
}

}  // namespace

std::optional<bool> boots_from(BootDevice device) {
    const ControllerVisit visit;
    return names(device);
}

bool set_boot_device(BootDevice device, bool on) {
    const ControllerVisit visit;
    const auto before = names(device);
    if (!before) return false;
    if (!on && !*before) return true;
    const auto begun = write(kProgress, {kInProgress});
    if (!begun || *begun == kOthersAtWork) return false;
    if (write_flags(device, on)) write(kProgress, {kCommit});
    write(kProgress, {kComplete});
    if (names(device) == on) return true;
    TraceLog(TRACE_LEVEL_ERROR, kModule, __func__, __LINE__,
             "The controller did not take over the boot flags.");
    return false;
}

}  // namespace zel::access
