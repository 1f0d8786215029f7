// SPDX-License-Identifier: GPL-3.0-or-later
// Follows the service's log of events over its rotations.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <string>

#include "base/file_io.h"
#include "event_line.h"

namespace zel::hooks {

class LogFollower {
  public:
    /// Takes one event; false when no more is wanted for now. `begins` with the first event of a file that was begun
    /// since the first `read`.
    using Take = std::function<bool(const EventLine& event, bool begins)>;

    /// Hands over the events since the last time; at first, all that there are. A file that was renamed is read to
    /// its end before its successor. An event may come twice, where files were changed in between: `seq` tells.
    /// @return False when `take` said so; what it refused comes again.
    bool read(const Take& take);

    /// True once a `read` found what there was: a log, or none.
    [[nodiscard]] bool was_read() const { return was_read_; }

    /// Becomes readable when the log's folder changes.
    [[nodiscard]] int watch() const { return watch_.get(); }
    /// Takes what the watch has to say. False when the folder cannot be watched: then it is time to look now and
    /// again. To be called before each `read`.
    bool watching();

  private:
    struct File {
        base::UniqueFd file;
        off_t offset = 0;       ///< Behind the last line that was taken.
        bool overlong = false;  ///< In the middle of a line that is left out.
        bool begins = false;    ///< Its first event is still to come, and matters.
    };

    [[nodiscard]] File open(const std::string& path);
    [[nodiscard]] bool is_current() const;
    bool read_file(File& file, const Take& take);
    bool take_lines(File& file, std::string_view bytes, const Take& take);
    bool take_line(File& file, std::string_view line, const Take& take);
    void tell_left_out();

    base::UniqueFd watch_;
    int folder_watch_ = -1;
    File current_;
    bool was_read_ = false;
    std::size_t left_out_ = 0;  ///< Lines that are no events, not yet told of.
    std::string fault_;         ///< Why the log cannot be read, as it was told.
};

}  // namespace zel::hooks
