// SPDX-License-Identifier: GPL-3.0-or-later
// The message boxes of panels, all with the button " ok ".
#pragma once

#include <string>
#include <string_view>

namespace zel {

/// A message under a title from the catalogue.
void show_message(const char* title_identifier, const std::string& message);

/// A message under the title "Error".
void show_error(const std::string& message);

/// Says that the call named failed, under the title "Error". Returns what was shown.
std::string show_call_failed(std::string_view call);

}  // namespace zel
