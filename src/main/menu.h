// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

namespace zel {

/// Runs the main menu until the user closes it. The flags are 0 or 1; `TABTOTAONUM` is the number of rows.
void EditParameter(std::int32_t iShowVoltFlag, std::int32_t iShowTempFlag, std::int32_t iShowMovalFlag,
                   std::int32_t TABTOTAONUM);

}  // namespace zel
