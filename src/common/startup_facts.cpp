// SPDX-License-Identifier: GPL-3.0-or-later
#include <agntconf/startup_facts.h>

namespace zel {

std::int32_t ZelVersion = 2;
std::int32_t gZelIsFt = 0;
std::int32_t iBladeFlag = 0;
std::int32_t GetSharedSensorStatus_Value = 0;
std::int32_t iNASFlag = 0;
SmbiosTable ctlcmn_libzelsmbios{};
std::int32_t iFlag_ctlcmn_libzelsmbios = 0;

}  // namespace zel
