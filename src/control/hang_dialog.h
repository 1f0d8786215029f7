// SPDX-License-Identifier: GPL-3.0-or-later
// The dialog that the shutdown and watchdog panels share: a check box that switches the watch on, entries
// for seconds, and the lists of what happens when the time is over and afterwards.
#pragma once

#include <agntconf/dialog.h>
#include <agntconf/widgets.h>

#include <cstdint>
#include <string>
#include <vector>

namespace zel {

/// The two actions of an action code: rows of the lists.
struct HangActions {
    int when = 1;
    int after = 0;
};

/// Splits an action code. False, with the defaults (1, 0), when the agent cannot; an action outside its list
/// counts as the nearest one inside.
bool split_action_code(std::uint64_t code, HangActions& actions);

/// Puts the actions into an action code of either record.
std::uint64_t join_action_code(const HangActions& actions, std::uint64_t code);

struct HangField {
    const char* label;
    std::string text;
};

/// What a panel fills the dialog with.
struct HangDialogKind {
    const char* title;
    const char* check_label;
    std::vector<HangField> fields;
    int entry_width;
    bool enabled;   ///< The watch is on.
    bool readable;  ///< False: the settings could not be read and nothing can be edited.
    HangActions actions;
};

class HangDialog {
  public:
    explicit HangDialog(const HangDialogKind& kind);

    /// As `Dialog::run_until` with OK and Cancel.
    void run_until(const std::function<bool()>& on_ok);
    [[nodiscard]] bool is_enabled() const { return mark_ == kMarked; }
    /// The number in an entry, as 32 bits without sign: a negative one is too large for any range.
    [[nodiscard]] std::uint32_t seconds(std::size_t field) const;
    [[nodiscard]] HangActions actions() const;

  private:
    newtComponent make_list(const HangDialogKind& kind, std::initializer_list<const char*> rows,
                            int selected);

    char mark_ = kCleared;
    Dialog dialog_;
    std::vector<newtComponent> entries_;
    newtComponent when_ = nullptr;
    newtComponent after_ = nullptr;
    OkCancel buttons_;
};

}  // namespace zel
