// SPDX-License-Identifier: GPL-3.0-or-later
// Doubles for newt's entry points: they draw nothing, record what was made and asked, and let a test say how
// each run of a form ends.
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "../../src/common/newtlib.h"

struct grid_s {};

struct newtComponent_struct {
    std::string kind;
    std::string text;
    int width = 0;
    int height = 0;
    bool disabled = false;
    bool destroyed = false;
};

namespace zel::test {

class NewtDoubles {
  public:
    /// Puts the doubles into the table; the destructor empties it.
    NewtDoubles();
    ~NewtDoubles();
    NewtDoubles(const NewtDoubles&) = delete;
    NewtDoubles& operator=(const NewtDoubles&) = delete;

    newtComponent make(const char* kind, const char* text, int width = 0, int height = 0);
    newtComponent find(const std::string& kind, const std::string& text) const;

    /// What happened, in order: "label text", "cell 0,1 button ok top=1", "window title", "hotkey 15" ...
    std::vector<std::string> calls;
    /// How the next runs of a form end: each names the component by kind and text, or gives null.
    std::deque<std::function<newtComponent()>> answers;
    std::deque<std::unique_ptr<newtComponent_struct>> components;
    std::deque<grid_s> grids;
    newtComponent radio = nullptr;  ///< The selected radio button.
};

extern NewtDoubles* doubles;

}  // namespace zel::test
