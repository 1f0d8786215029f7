// SPDX-License-Identifier: GPL-3.0-or-later
// A few requests to the management controller in a row.
#pragma once

#include "controller.h"
#include "request_limit.h"

namespace zel::bmc {

/// Ends the session with the controller at the end of its life: controllers have few of them, and a program
/// that stays on a panel for an hour has no use for one in between. Its requests take no longer together than
/// `longest`, which is what somebody waits for a list.
class ControllerVisit {
  public:
    explicit ControllerVisit(std::chrono::milliseconds longest = kLongestList) : limit_(longest) {}
    ~ControllerVisit() { controller().end_session(); }
    ControllerVisit(const ControllerVisit&) = delete;
    ControllerVisit& operator=(const ControllerVisit&) = delete;

  private:
    RequestLimit limit_;
};

}  // namespace zel::bmc
