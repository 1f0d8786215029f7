// SPDX-License-Identifier: GPL-3.0-or-later
#include "sdr_repository.h"

#include <chrono>
#include <mutex>
#include <span>
#include <string_view>
#include <utility>

#include "request_limit.h"
#include "sdr_reader.h"
#include "zel/trace.h"

namespace zel::bmc {
namespace {

constexpr const char* kModule = "sdr_repository";

enum Command : std::uint8_t { kGetDeviceId = 0x01, kGetRepositoryInfo = 0x20 };

constexpr int kMostReadings = 3;
constexpr std::chrono::milliseconds kPause{200};

/// The data of a command's answer; nothing, traced, when it was refused or is shorter than `least`.
std::optional<std::vector<std::uint8_t>> ask(Controller& controller, NetFn netfn, std::uint8_t command,
                                             std::size_t least) {
    auto reply = controller.request(0, netfn, command);
    if (!reply) return std::nullopt;
    if (reply->ok() && reply->data.size() >= least) return std::move(reply->data);
    ZEL_TRACE(TRACE_LEVEL_ERROR, "Request %02xh/%02xh: completion %02xh, %zu bytes.", unsigned{netfn},
              unsigned{command}, unsigned{reply->completion}, reply->data.size());
    return std::nullopt;
}

}  // namespace

std::string to_hex(std::span<const std::uint8_t> bytes) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 0x0f];
    }
    return text;
}

// Once for what is read in a row, one kind of sensors after the other: no controller restarts with another
// firmware within seconds.
std::optional<std::vector<std::uint8_t>> device_id(Controller& controller) {
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::seconds kHolds{10};
    struct Known {
        std::mutex mutex;
        std::string target;
        std::vector<std::uint8_t> device;
        Clock::time_point until;
    };
    // Never destroyed: threads may still ask while the process ends.
    static Known& known = *new Known;
    const std::scoped_lock lock(known.mutex);
    if (known.target == controller.target() && Clock::now() < known.until) return known.device;
    auto device = ask(controller, kApp, kGetDeviceId, 11);
    if (!device) return std::nullopt;
    known.target = controller.target();
    known.device = *device;
    known.until = Clock::now() + kHolds;
    return device;
}

std::optional<std::string> repository_identity(Controller& controller) {
    // Version, number of records, free space and the times of the last change.
    const auto info = ask(controller, kStorage, kGetRepositoryInfo, 13);
    if (!info) return std::nullopt;
    auto device = device_id(controller);
    if (!device) return std::nullopt;
    (*device)[2] &= 0x7f;  // the rest is the firmware's version, this bit says "busy at present"
    return controller.target() + " device " + to_hex(std::span(*device).first(11)) + " repository " +
           to_hex(std::span(*info).first(13));
}

std::optional<Repository> read_repository(Controller& controller, std::string identity) {
    for (int reading = 0; reading < kMostReadings; ++reading) {
        auto records = read_records(controller);
        auto after = repository_identity(controller);
        if (!after) return std::nullopt;
        if (*after == identity)
            return records ? std::optional(Repository{std::move(identity), *std::move(records)})
                           : std::nullopt;
        ZEL_TRACE(TRACE_LEVEL_INFO, "The records changed while they were read.");
        identity = *std::move(after);
        if (!RequestLimit::pause(kPause)) return std::nullopt;
    }
    ZEL_TRACE(TRACE_LEVEL_ERROR, "The records go on changing.");
    return std::nullopt;
}

}  // namespace zel::bmc
