// SPDX-License-Identifier: GPL-3.0-or-later
#include "controller_guid.h"

#include <algorithm>
#include <span>

#include "sdr_repository.h"
#include "zel/trace.h"

namespace zel::bmc {
namespace {

constexpr const char* kModule = "controller_guid";
constexpr std::uint8_t kGetDeviceGuid = 0x08;
constexpr std::uint8_t kGetSystemGuid = 0x37;
constexpr std::size_t kGuidBytes = 16;

/// It may say something else in a while, and what it is must not depend on that.
bool is_passing(std::uint8_t completion) {
    constexpr std::uint8_t kFirmwareUpdate = 0xd1;
    return completion == kFirmwareUpdate || passes(completion, Repeat::freely);
}

/// False for zeros, ones and other filling: no generator gives one byte half of the places.
bool is_distinctive(std::span<const std::uint8_t> guid) {
    return std::ranges::none_of(guid, [guid](std::uint8_t byte) {
        return static_cast<std::size_t>(std::ranges::count(guid, byte)) >= kGuidBytes / 2;
    });
}

}  // namespace

std::optional<std::string> read_guid(Controller& controller) {
    for (const std::uint8_t command : {kGetDeviceGuid, kGetSystemGuid}) {
        const auto reply = controller.request(0, kApp, command);
        if (!reply) return std::nullopt;
        if (is_passing(reply->completion)) {
            ZEL_TRACE(TRACE_LEVEL_ERROR, "Request 06h/%02xh: completion %02xh.", unsigned{command},
                      unsigned{reply->completion});
            return std::nullopt;
        }
        if (reply->ok() && reply->data.size() == kGuidBytes && is_distinctive(reply->data))
            return to_hex(reply->data);
    }
    return std::string();
}

std::string identity_of(const std::string& guid, const std::string& target,
                        const std::vector<std::uint8_t>& device) {
    if (!guid.empty()) return "guid " + guid;
    // Its kind, maker and product; between them the versions, which an update changes.
    const auto bytes = std::span(device);
    return "device " + to_hex(bytes.first(1)) + ' ' + to_hex(bytes.subspan(6, 5)) + " at " + target;
}

}  // namespace zel::bmc
