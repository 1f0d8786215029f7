// SPDX-License-Identifier: GPL-3.0-or-later
// The chassis' locator light.
#include <array>
#include <exception>

#include "bmc/controller_visit.h"
#include "zel/access_control.h"
#include "zel/trace.h"

constexpr const char* kModule = "identify";

extern "C" int ZELChassisIdentify_V15(uint8_t* interval) try {
    constexpr std::uint8_t kChassisIdentify = 0x04;
    if (!interval) return CHASSIS_IDENTIFY_FAILED;
    const zel::bmc::ControllerVisit visit;
    const auto reply =
        zel::bmc::controller().request(0, zel::bmc::kChassis, kChassisIdentify, std::array{*interval});
    if (reply && reply->ok()) return 0;
    if (reply) {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "Refused with completion code %02xh.", unsigned{reply->completion});
    }
    return CHASSIS_IDENTIFY_FAILED;
} catch (...) {
    return CHASSIS_IDENTIFY_FAILED;
}
