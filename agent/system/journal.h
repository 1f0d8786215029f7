// SPDX-License-Identifier: GPL-3.0-or-later
// The system's journal. libsystemd is loaded with the first entry: most programs never write one.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zel::system {

class JournalEntry {
  public:
    /// @param field  In capitals, as the journal wants it.
    /// @param value  Of any bytes.
    void add(std::string_view field, std::string_view value);

    /// False where there is no journal to take it.
    bool send() const;

  private:
    std::vector<std::string> fields_;
};

}  // namespace zel::system
