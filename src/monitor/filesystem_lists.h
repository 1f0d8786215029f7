// SPDX-License-Identifier: GPL-3.0-or-later
// The lists of the file-system panel while it is open.
#pragma once

#include <zel/access_monitor.h>

#include <cstdint>

namespace zel::filesystem {

extern FsThresholdRecord* FSdata;     ///< The settings as edited.
extern FsThresholdRecord* PreFSdata;  ///< As they were read.
extern FsSizeNode* FSsize;            ///< Sizes beside FSdata, record by record.
extern std::int32_t FScycle;          ///< Seconds between two samples, as edited.
extern std::int32_t PreFScycle;       ///< As they were read.

/// What can end the panel before it opens: the call that failed, and how the trace tells it.
struct Failure {
    const char* call = nullptr;  ///< Null: nothing did.
    const char* trace = nullptr;
};
inline constexpr Failure kNoHeads{"malloc", "<malloc() failed."};
inline constexpr Failure kNoNode{"malloc", "<malloc failed."};
inline constexpr Failure kNoSize{"statfs", "<statfs failed."};

/// Holds the lists; frees them with the object.
class Lists {
  public:
    Lists();
    ~Lists();
    Lists(const Lists&) = delete;
    Lists& operator=(const Lists&) = delete;

    /// False when there is no memory for the lists' first records.
    [[nodiscard]] static bool allocated();
    /// False when there is nothing to edit.
    static bool read();
    /// Measures every file system of FSdata.
    static Failure measure();
};

/// 1 when the interval or a file system differs from what was read, else 0. A changed file system that is
/// switched off gets its thresholds back.
int Test_Changed();

template <class Record>
Record* record_at(Record* head, std::intptr_t row) {
    for (; row > 0 && head->next != nullptr; --row)
        head = head->next;
    return head;
}

}  // namespace zel::filesystem
