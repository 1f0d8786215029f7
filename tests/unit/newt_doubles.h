// SPDX-License-Identifier: GPL-3.0-or-later
// Doubles for newt's entry points: they draw nothing, and let a test say how each run of a form ends.
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <string>

#include "../../src/common/newtlib.h"

struct grid_s {};

struct newtComponent_struct {
    std::string kind;
    std::string text;
    int height = 0;
    bool disabled = false;
};

namespace zel::test {

/// While it lives, its doubles are in the table. One at a time counts: the one made last.
class NewtDoubles {
  public:
    NewtDoubles();

    newtComponent make(const char* kind, const char* text, int height = 0);
    newtComponent find(const std::string& kind, const std::string& text) const;

    /// How the next runs of a form end: each gives the button, or null for a hot key.
    std::deque<std::function<newtComponent()>> answers;
    std::deque<std::unique_ptr<newtComponent_struct>> components;
    std::deque<grid_s> grids;
};

}  // namespace zel::test
