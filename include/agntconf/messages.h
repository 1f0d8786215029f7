// SPDX-License-Identifier: GPL-3.0-or-later
// The message boxes of panels, all with the button " ok ".
#pragma once

#include <agntconf/readstrfile.h>

#include <string>
#include <string_view>

namespace zel {

/// A message under a title from the catalogue.
void show_message(const char* title_identifier, const std::string& message);

/// A message under a fixed title.
void show_titled(const char* title, const std::string& message);

/// A message under the title "Error".
void show_error(const std::string& message);

/// Says that the call named failed, under the title "Error", in at most `limit` bytes. Returns what was
/// shown.
std::string show_call_failed(std::string_view call, std::size_t limit = kTextBufferSize - 1);

/// A line of the catalogue in place of the help line, for as long as something takes that the user waits for.
/// A catalogue without the text leaves the help line alone.
class BusyLine {
  public:
    explicit BusyLine(const char* identifier);
    ~BusyLine();
    BusyLine(const BusyLine&) = delete;
    BusyLine& operator=(const BusyLine&) = delete;

  private:
    bool shown_;
};

}  // namespace zel
