// SPDX-License-Identifier: GPL-3.0-or-later
// The durable log of events, `events.jsonl` in the service's folder: one JSON object a line, at most a mebibyte, and one
// older file beside it. What is told is what stands here; the journal and listeners come after.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "base/file_io.h"
#include "event.h"

namespace zel::tell {

inline constexpr std::size_t kLargestEventLog = std::size_t{1} << 20U;

class EventLog {
  public:
    /// @param say  What there is to say about the log itself.
    EventLog(std::string folder, std::function<void(const std::string&)> say);

    /// Reads what is there: cuts off a line that a killed writer left half-written, and keeps a log aside that
    /// holds anything else than events. The file is made at its full size, so that a full disk, which is worth an
    /// event, can still be told.
    /// @return The events that are newer than `seq`, in order.
    std::vector<Event> open(std::uint64_t seq);

    /// Numbers an event and writes it, durably. What cannot be written is written as soon as it can; beyond a
    /// bound the oldest are lost, and counted.
    void add(Event& event);

    /// Tries again to write what could not be.
    void flush();

    [[nodiscard]] std::uint64_t last() const { return last_; }

  private:
    bool open_file();
    bool append(const std::string& line);
    bool rotate();
    void read_older(std::vector<Event>& events) const;

    std::string folder_;
    std::function<void(const std::string&)> say_;
    base::UniqueFd file_;
    std::size_t end_ = 0;
    std::uint64_t last_ = 0;
    std::deque<std::string> waiting_;
    std::size_t lost_ = 0;
};

}  // namespace zel::tell
