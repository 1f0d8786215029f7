// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "event_line.h"
#include "position.h"

namespace zel::hooks {

/// Gives each event to each hook, in order, and keeps how far it has come.
class Dispatcher {
  public:
    /// @param is_stopping  Asked after each hook.
    explicit Dispatcher(std::function<bool()> is_stopping) : is_stopping_(std::move(is_stopping)) {}

    /// False, and said, when the position cannot be had.
    bool open();
    /// Takes an event of the log; see LogFollower::Take.
    bool take(const EventLine& event, bool begins);
    /// The log was read to its end for the first time: at the very first start the hooks begin here.
    void caught_up();
    /// True when something that a hook started could not be killed.
    [[nodiscard]] bool is_stuck() const { return stuck_; }

  private:
    bool run_hooks(const EventLine& event, const std::string& after);
    void go_on_behind(std::uint64_t seq);

    std::function<bool()> is_stopping_;
    PositionFile file_;
    std::optional<Position> position_;
    std::uint64_t newest_ = 0;
    bool caught_up_ = false;
    bool stuck_ = false;
};

}  // namespace zel::hooks
