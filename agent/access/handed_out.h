// SPDX-License-Identifier: GPL-3.0-or-later
// What this process was handed out, so that what a caller has changed can be told from what it gives back as it came.
#pragma once

#include <map>
#include <mutex>
#include <optional>

namespace zel::access {

/// The records of one type that were handed out last, by row where there are several. For any thread.
template <class Record>
class HandedOut {
  public:
    void keep(const Record& record, int row = 0) {
        const std::lock_guard guard(mutex_);
        records_.insert_or_assign(row, record);
    }

    [[nodiscard]] std::optional<Record> last(int row = 0) const {
        const std::lock_guard guard(mutex_);
        const auto known = records_.find(row);
        return known == records_.end() ? std::nullopt : std::optional(known->second);
    }

    /// The caller's record was saved: from now on that is what it has. One that never asked is left alone: all that
    /// it gives is its own.
    void saved(const Record& record, int row = 0) {
        const std::lock_guard guard(mutex_);
        const auto known = records_.find(row);
        if (known != records_.end()) known->second = record;
    }

  private:
    mutable std::mutex mutex_;
    std::map<int, Record> records_;
};

template <class Record>
HandedOut<Record>& handed_out() {
    // Never destroyed: threads may still ask while the process ends.
    static auto& only = *new HandedOut<Record>;
    return only;
}

}  // namespace zel::access
