// SPDX-License-Identifier: GPL-3.0-or-later
// A management controller may come out of a reset with its maker's thresholds: the administrator's are put
// back.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "controller.h"
#include "sensors_state.h"

namespace zel::bmc {

/// Sees to it that sensors have the thresholds that were last written to them.
class ThresholdKeeper {
  public:
    explicit ThresholdKeeper(Controller& controller) : controller_(controller) {}

    /// The first time, and after the controller did not answer or was another one, puts thresholds back. Else
    /// compares one sensor, the next one each time, and puts all back when it does not have its own: a reset
    /// may have taken less time than there is between two looks. One request where nothing is lost; none when
    /// no thresholds were ever written.
    /// @return How many sensors were given theirs; nothing, with the reason traced, when the controller does
    ///         not answer.
    std::optional<int> look();

    /// Gives each sensor its thresholds, where the controller has others by now. Each is logged.
    /// @return As for `look`.
    std::optional<int> put_back();

    /// There is no controller for the time being.
    void forget() { known_ = false; }

  private:
    [[nodiscard]] bool next_has_its_own();

    Controller& controller_;
    std::vector<SensorState> sensors_;
    std::string target_;
    std::size_t next_ = 0;
    bool known_ = false;
};

}  // namespace zel::bmc
