// SPDX-License-Identifier: GPL-3.0-or-later
// How far the hooks have come, kept over restarts.
//
// Each hook gets an event at most once. What is about to be run is written down, durably, before it is run: a process
// killed in the middle cannot know how much of its hook was done. A hook that was interrupted is told of and not run
// again; those after it still get the event. The other way round, a hook that restarts the server, or whose event
// ends this program, would be run again after each start, for ever.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "base/file_io.h"

namespace zel::hooks {

/// Every event before `seq` is done, and of `seq` the hooks up to `hook`, in the order of their names; all of them
/// where that is empty.
struct Position {
    std::uint64_t seq = 0;
    std::string hook;
    bool running = false;  ///< The hook was begun, and nothing is known of its end.
    bool operator==(const Position&) const = default;
};

class PositionFile {
  public:
    /// Opens the file, or makes it, and locks it over this object's life. False, and said, when that cannot be done.
    bool open();
    /// Nothing when there is none yet, or when it is damaged, which is said.
    [[nodiscard]] std::optional<Position> read() const;
    /// Writes in place, and syncs: room for it was taken once, so it works on a full disk too. Failures are said
    /// once; the hooks go on, since a failing disk may be what the event tells of.
    void write(const Position& position);

  private:
    std::string path_;
    base::UniqueFd file_;
    bool failed_ = false;
};

}  // namespace zel::hooks
