// SPDX-License-Identifier: GPL-3.0-or-later
// Several key files as one: whoever holds the locks of all of them reads what stands there, judges, and replaces one after
// the other, and nobody writes in between.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/file_io.h"

namespace zel::store {

/// While it lives, `update_key_file` on these files takes the locks from here. One at a time in a process.
class HeldLocks {
  public:
    /// Waits for each lock as update_key_file does. Nothing, with errno set, when one could not be had.
    static std::optional<HeldLocks> take(std::vector<std::string> paths);
    HeldLocks(HeldLocks&& other) noexcept;
    HeldLocks& operator=(HeldLocks&& other) noexcept;
    ~HeldLocks();

  private:
    HeldLocks() = default;

    std::vector<std::string> paths_;
    std::vector<base::UniqueFd> locks_;
};

/// True when this process holds the file's lock.
bool holds_lock(const std::string& path);

}  // namespace zel::store
