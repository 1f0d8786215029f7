// SPDX-License-Identifier: GPL-3.0-or-later
// A management controller may come out of a reset with its maker's thresholds: the administrator's are put
// back.
#pragma once

#include <optional>

#include "bmc/controller.h"

namespace zel::access {

/// Gives each sensor the thresholds that were last written to it, where the controller has others by now.
/// Asks the controller nothing when none were ever written. Each sensor is told in the trace log.
/// @return How many sensors were given theirs; nothing, with the reason traced, when the controller does not
///         answer.
std::optional<int> reapply_thresholds(bmc::Controller& controller);

}  // namespace zel::access
