// SPDX-License-Identifier: GPL-3.0-or-later
// The small modal dialogs that every panel uses. They look no texts up: callers pass finished ones.
#pragma once

#include <agntconf/newtlib.h>

#include <cstdint>

namespace zel {

/// A message of one line with one button; returns when the button is pressed, whatever else is typed.
void msgWindow(const char* title, const char* buttonText, const char* text);

/// The same for a long text, wrapped at 60 columns.
void msgWindowEx(const char* title, const char* buttonText, const char* text);

/// Asks for one of `count` buttons that the caller made, under a line of text (blank when null) and a
/// title (blank when null). Returns what ended the form: a button, null for a hot key, or the form for F12.
/// The buttons are freed with the form: afterwards the handles are good for comparing only.
newtComponent SelectFromButtons(const char* title, const char* text, newtComponent buttons[],
                                std::int32_t count);

/// The same with a text of up to three wrapped lines of 60 columns.
newtComponent SelectFromButtonsEx(const char* title, const char* text, newtComponent buttons[],
                                  std::int32_t count);

}  // namespace zel
