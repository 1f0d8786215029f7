// SPDX-License-Identifier: GPL-3.0-or-later
// A few requests to the management controller in a row.
#pragma once

#include "bmc/controller.h"

namespace zel::access {

/// Ends the session with the controller at the end of its life: controllers have few of them, and a program
/// that stays on a panel for an hour has no use for one in between.
class ControllerVisit {
  public:
    ControllerVisit() = default;
    ~ControllerVisit() { bmc::controller().end_session(); }
    ControllerVisit(const ControllerVisit&) = delete;
    ControllerVisit& operator=(const ControllerVisit&) = delete;
};

}  // namespace zel::access
