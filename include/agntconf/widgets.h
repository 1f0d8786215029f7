// SPDX-License-Identifier: GPL-3.0-or-later
// Widget callbacks that panels share, and the small reads and writes of widgets.
#pragma once

#include <agntconf/newtlib.h>

#include <cstdint>
#include <string>

namespace zel {

/// The marks of check boxes and radio buttons.
inline constexpr char kMarked = '*';
inline constexpr char kCleared = ' ';

/// Which widgets depend on a check box. A panel fills the record before its dialog runs; there is
/// one record of each kind, so the panel that opened last has it.
struct CheckRecord {
    newtComponent* components;  ///< The panel's handles.
    std::int32_t first;         ///< First dependent index.
    std::int32_t last;          ///< Last dependent index, inclusive; nothing depends when below `first`.
    const char* source;         ///< The controlling check box's mark character.
};

extern CheckRecord CheckStruct;     ///< Dependent entries, for `CheckButtonFunc`.
extern CheckRecord CheckboxStruct;  ///< Dependent check boxes, for `CheckBoxFunc`.

/// Component callback of a check box: disables the entries of `CheckStruct` while its mark is blank.
void CheckButtonFunc(newtComponent component, void* data);
/// The same for the check boxes of `CheckboxStruct`.
void CheckBoxFunc(newtComponent component, void* data);

/// Entry filter for whole numbers: digits, "-" at the start, and the keys that move and delete.
/// Returns the key, or 0 to drop it.
int EntryNumricFilter(newtComponent entry, void* data, int ch, int cursor);

/// Disables or enables one entry.
void set_disabled(newtComponent entry, bool disabled);
/// Disables or enables one check box or radio button.
void set_checkbox_disabled(newtComponent box, bool disabled);

/// Shows a mark in a check box, or in a radio button, whose callback is not called for it.
void set_mark(newtComponent box, bool marked);
/// The marked one of a group of radio buttons.
newtComponent marked_radio_button(newtComponent first);

/// The entry's text as a base-10 number, as strtol reads it (an empty entry is 0), clamped to 64 bits.
std::int64_t entry_long(newtComponent entry);
/// The same, clamped to 32 bits.
std::int32_t entry_number(newtComponent entry);
bool entry_is_empty(newtComponent entry);
std::string entry_string(newtComponent entry);
/// Shows a number in the entry, its first digits in sight.
void set_entry(newtComponent entry, std::int64_t number);

/// The key of the list's current row.
std::intptr_t current_row(newtComponent list);

}  // namespace zel
