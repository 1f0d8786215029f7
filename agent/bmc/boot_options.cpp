// SPDX-License-Identifier: GPL-3.0-or-later
#include "boot_options.h"

#include <unistd.h>

#include <array>
#include <initializer_list>
#include <vector>

#include "boot_mark.h"
#include "controller_visit.h"
#include "zel/trace.h"

namespace zel::bmc {
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
constexpr std::uint8_t kNamed = 0x01;  // of our own, set beside a device when the flags are valid
constexpr std::uint8_t kNone = 0;
constexpr std::uint8_t kProgressMask = 0x03;

// A controller drops the flags a minute later, when no Chassis Control follows, or on events of other kinds,
// unless asked to keep them: at an operating system's reboot they would be gone.
constexpr std::uint8_t kKeepAlways = 0x1f;
constexpr std::uint8_t kKeepAfterAMinute = 0x08;
// Nobody has handled the boot options yet.
constexpr std::uint8_t kByNobody = 0xff;

// A change of another program's takes a few requests. One that stays for five seconds was left behind: it
// would block the boot options until the controller restarts.
constexpr int kMostLooks = 20;
constexpr int kLooksAfterwards = 4;
constexpr std::chrono::milliseconds kBetweenLooks{250};
constexpr std::chrono::seconds kLongestLock{5};

bool is_efi() {
    return ::access("/sys/firmware/efi", F_OK) == 0;
}

bool is_ours(std::uint8_t clearing) {
    return clearing == kKeepAlways || clearing == kKeepAfterAMinute;
}

/// Writes one parameter. The completion code, also traced when it is not 0; nothing without an answer.
std::optional<std::uint8_t> write(Parameter parameter, std::initializer_list<std::uint8_t> values,
                                  Repeat repeat = Repeat::freely) {
    std::vector<std::uint8_t> data{parameter};
    data.insert(data.end(), values);
    const auto reply = controller().request(0, kChassis, kSetOptions, data, repeat);
    if (!reply) return std::nullopt;
    if (!reply->ok()) {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "Boot option %u is refused with completion code %02xh.",
                  unsigned{parameter}, unsigned{reply->completion});
    }
    return reply->completion;
}

/// A parameter's bytes. None, traced, when the controller has no such parameter; nothing without an answer.
std::optional<std::vector<std::uint8_t>> read(Parameter parameter) {
    constexpr std::uint8_t kNotValid = 0x80;
    constexpr std::size_t kBefore = 2;  // version, parameter
    auto reply = controller().request(0, kChassis, kGetOptions, std::array<std::uint8_t, 3>{parameter, 0, 0});
    if (!reply) return std::nullopt;
    auto& data = reply->data;
    if (!reply->ok() || data.size() <= kBefore) {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "Boot option %u cannot be read: completion code %02xh, %zu bytes.",
                  unsigned{parameter}, unsigned{reply->completion}, data.size());
        return std::vector<std::uint8_t>{};
    }
    // A parameter that is marked as not valid says nothing.
    if ((data[1] & kNotValid) != 0) data[2] = 0;
    return std::vector(data.begin() + kBefore, data.end());
}

/// Whether a change is in progress, of whomever. Where the controller does not say, it has none.
std::optional<bool> in_progress() {
    const auto progress = read(kProgress);
    if (!progress) return std::nullopt;
    return !progress->empty() && (progress->front() & kProgressMask) == kInProgress;
}

/// The boot device that valid flags name, as `named` gives it, or kNone. Nothing when the controller cannot
/// say.
std::optional<std::uint8_t> named_device() {
    const auto flags = read(kFlags);
    if (!flags || flags->size() < 2) return std::nullopt;
    const bool valid = ((*flags)[0] & kValid) != 0;
    return valid ? static_cast<std::uint8_t>(kNamed | ((*flags)[1] & kDeviceMask)) : kNone;
}

std::uint8_t named(BootDevice device) {
    return kNamed | static_cast<std::uint8_t>(device);
}

/// Ends the change in progress; on controllers that can take back, what was not committed is gone. False
/// without an answer.
bool complete() {
    return write(kProgress, {kComplete}).has_value();
}

/// Ends a change of ours that was interrupted. What came of it is to be read again. False without an answer.
bool settle(BootMark& mark) {
    if (!mark.changing) return true;
    ZEL_TRACE(TRACE_LEVEL_INFO, "A change was interrupted; it is ended.");
    const auto others = in_progress();
    if (!others || (*others && !complete())) return false;
    mark.changing = false;
    write_boot_mark(mark);
    return true;
}

/// Begins a change, marked first. False when there was no answer to that; `others` says whether another
/// program is in between.
bool try_to_begin(BootMark& mark, bool& others) {
    mark.changing = true;
    if (!write_boot_mark(mark)) return false;
    auto begun = write(kProgress, {kInProgress}, Repeat::if_refused);
    // Without an answer it may have begun all the same: from the start, once.
    if (!begun && complete()) begun = write(kProgress, {kInProgress}, Repeat::if_refused);
    others = begun == kOthersAtWork;
    if (!others) return begun.has_value();
    mark.changing = false;
    return write_boot_mark(mark);
}

/// Begins a change once no other program is at it. False when none has begun.
bool begin(BootMark& mark, const EndHeldBack& end) {
    for (int looks = 0; looks < kMostLooks + kLooksAfterwards; ++looks) {
        auto others = in_progress();
        if (!others) return false;
        if (!*others) {
            if (!try_to_begin(mark, *others)) return false;
            if (!*others) return true;
        }
        if (looks == kMostLooks) {
            ZEL_TRACE(TRACE_LEVEL_ERROR, "Another program's change does not end; it is taken over.");
            if (write(kProgress, {kComplete}) != 0) return false;
        } else if (!RequestLimit::pause(kBetweenLooks) || end.wanted()) {
            return false;
        }
    }
    ZEL_TRACE(TRACE_LEVEL_ERROR, "Other programs keep changing the boot options.");
    return false;
}

/// Controllers may lack all but the flags, which are read back; so only the flags' refusal counts.
bool write_flags(BootDevice device) {
    if (write(kClearing, {kKeepAlways}) != 0) write(kClearing, {kKeepAfterAMinute});
    write(kAcknowledge, {kByNobody, kByNobody});
    const auto valid = static_cast<std::uint8_t>(kValid | (is_efi() ? kEfi : 0));
    return write(kFlags, {valid, static_cast<std::uint8_t>(device), 0, 0, 0}) == 0;
}

/// False when the controller did not say that the change has ended, here and below.
bool switch_on(BootDevice device, BootMark& mark, const EndHeldBack& end) {
    const auto clearing = read(kClearing);
    if (!clearing) return false;
    // What stands there since our last change is not how it was before.
    if (!clearing->empty() && !is_ours(clearing->front())) mark.clearing = clearing->front();
    if (!begin(mark, end)) return false;
    if (write_flags(device)) write(kProgress, {kCommit});
    return complete();
}

/// @param before  The device that is named now.
bool switch_off(BootDevice device, std::uint8_t before, BootMark& mark, const EndHeldBack& end) {
    const bool takes_back = before == named(device);
    // Somebody else's valid flags may live by it.
    bool restores = mark.clearing && (takes_back || before == kNone);
    if (restores) {
        const auto clearing = read(kClearing);
        if (!clearing) return false;
        // Written by somebody else since, or dropped by a restart: not ours to put back any more.
        restores = !clearing->empty() && is_ours(clearing->front());
        if (!restores) mark.clearing.reset();
    }
    if (!takes_back && !restores) return true;
    if (!begin(mark, end)) return false;
    const bool restored = restores && write(kClearing, {*mark.clearing}) == 0;
    const bool written = !takes_back || write(kFlags, {0, 0, 0, 0, 0}) == 0;
    if (written) write(kProgress, {kCommit});
    if (!complete()) return false;
    if (restored && written) mark.clearing.reset();
    return true;
}

}  // namespace

std::optional<bool> boots_from(BootDevice device) {
    const ControllerVisit visit;
    auto now = named_device();
    BootMark mark = read_boot_mark(controller().target());
    if (now && mark.changing) {
        // Whoever holds the lock is still at it.
        const auto lock = lock_boot_options(std::chrono::milliseconds(0));
        if (lock) mark = read_boot_mark(mark.controller);
        if (lock && mark.changing) now = settle(mark) ? named_device() : std::nullopt;
    }
    if (!now) return std::nullopt;
    return *now == named(device);
}

bool set_boot_device(BootDevice device, bool on) {
    const ControllerVisit visit;
    const auto lock = lock_boot_options(kLongestLock);
    if (!lock) return false;
    auto before = named_device();
    BootMark mark = read_boot_mark(controller().target());
    if (before && mark.changing) before = settle(mark) ? named_device() : std::nullopt;
    if (!before) return false;
    const EndHeldBack end;
    if (!(on ? switch_on(device, mark, end) : switch_off(device, *before, mark, end))) return false;
    mark.changing = false;
    if (mark != read_boot_mark(mark.controller) && !write_boot_mark(mark)) return false;
    const auto after = named_device();
    if (after && (*after == named(device)) == on) return true;
    ZEL_TRACE(TRACE_LEVEL_ERROR, "The controller did not take over the boot flags.");
    return false;
}

}  // namespace zel::bmc
