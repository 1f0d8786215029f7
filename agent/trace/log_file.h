// SPDX-License-Identifier: GPL-3.0-or-later
// One program's trace file, which several processes may write at the same time.
#pragma once

#include <cstddef>
#include <ctime>
#include <string>
#include <string_view>

#include "base/file_io.h"
#include "base/own_folder.h"

namespace zel::trace {

/// A file found past this size becomes `.1`, the one before it `.2`. Writers that are busy at that moment may
/// overshoot a little.
inline constexpr std::size_t kRotationSize = std::size_t{1} << 20;

/// Appends lines to a file and rotates it. Not thread-safe; safe between processes.
class LogFile {
  public:
    /// Opens or makes `folder/program.log`. Characters of `program` other than letters, digits, '.', '_' and
    /// '-' are replaced. False when it cannot be opened; `write` tries again later.
    bool open(const std::string& folder, std::string_view program);

    /// Appends one whole line with a single write. Lines are dropped while the file cannot be opened.
    /// @param second  The time now: once a second it is checked that the file is still the one of its name.
    void write(std::string_view line, std::time_t second);

  private:
    void reopen();
    void check();
    void rotate(const base::OwnFolder& folder);

    std::string folder_;
    std::string name_;
    base::UniqueFd file_;
    std::time_t checked_at_ = 0;
    std::size_t written_since_check_ = 0;
};

}  // namespace zel::trace
