// SPDX-License-Identifier: GPL-3.0-or-later
// What the tool learned about the server at start-up, where every module finds it.
#pragma once

#include <zel/smbios.h>

#include <cstdint>

namespace zel {

/// Agent version code: 1 = 3.8, 2 = 3.9, 3 = 4.0, 4 = 4.1.
extern std::int32_t ZelVersion;
/// 1 on a fault-tolerant server, else 0.
extern std::int32_t gZelIsFt;
/// 1 when the server stands in a blade chassis, else 0.
extern std::int32_t iBladeFlag;
/// The shared-sensor status at start-up; negative = sensor sharing is not available.
extern std::int32_t GetSharedSensorStatus_Value;
/// 1 on a NAS model (agent 3.8 only), else 0.
extern std::int32_t iNASFlag;
/// The SMBIOS library's entry points, all zero until it is loaded.
extern SmbiosTable ctlcmn_libzelsmbios;
/// What loading it came to: -1 failed, 0 not present, 1 loaded.
extern std::int32_t iFlag_ctlcmn_libzelsmbios;

}  // namespace zel
