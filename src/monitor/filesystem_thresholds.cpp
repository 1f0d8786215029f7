// SPDX-License-Identifier: GPL-3.0-or-later
#include "filesystem_thresholds.h"

#include <agntconf/widgets.h>
#include <zel/trace.h>

#include <algorithm>
#include <cstdlib>
#include <initializer_list>

namespace zel::filesystem {

std::array<newtComponent, 6> entry{};
std::array<newtComponent, 3> radio{};
newtComponent ppp = nullptr;

namespace {

constexpr char kModule[] = "filesystem";
constexpr int kPercentToSpace = 0;
constexpr int kSpaceToPercent = 1;
constexpr std::int32_t kNoMode = 5;

void trace_pointers(const FsThresholdRecord* record, const FsSizeNode* size, const char* function) {
    TraceLog(TRACE_LEVEL_TRACE, kModule, function, __LINE__, ">");
    TraceLog(TRACE_LEVEL_TRACE, kModule, function, __LINE__, "data=%p,tmp=%p",
             static_cast<const void*>(record), static_cast<const void*>(size));
}

/// The capacity in MiB that free spaces are measured against, in 32 bits as the records hold them.
std::int32_t space_limit(const FsSizeNode& size) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(size.size) * 100U);
}

/// A threshold that reached the one before it falls just below it.
void keep_below(std::int32_t& lower, std::int32_t upper) {
    if (lower >= upper) lower = upper - 1;
}

void restore_order(FsThresholdRecord& record) {
    keep_below(record.fatalResetPercent, record.fatalReportPercent);
    keep_below(record.warningReportPercent, record.fatalResetPercent);
    keep_below(record.warningResetPercent, record.warningReportPercent);
}

}  // namespace

int ConvertThreshold(std::uint64_t maxsize, int threshold, int flag) {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    ZEL_TRACE(TRACE_LEVEL_TRACE, "[in]maxsize=%uld,[in]threshold=%d,[in]flag=%d.",
              static_cast<std::uint32_t>(maxsize), threshold, flag);
    int result = 0;
    if (flag == kPercentToSpace) {
        const std::uint32_t free_percent = 100U - static_cast<std::uint32_t>(threshold);
        result = static_cast<int>(free_percent * static_cast<std::uint32_t>(maxsize));
    } else if (flag == kSpaceToPercent) {
        const auto space = static_cast<std::uint64_t>(static_cast<std::int64_t>(threshold));
        result = maxsize == 0 ? 100 : static_cast<int>((maxsize * 100 - space) / maxsize);
    }
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<return %d.", result);
    return result;
}

int TestCurrentFSValue(int a, int b, int c, int d, std::int64_t limit) {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    const auto [lowest, highest] = std::minmax({a, b, c, d});
    if (highest > limit) {
        ZEL_TRACE(TRACE_LEVEL_TRACE, "<exceed the high limit.return 1.");
        return 1;
    }
    if (lowest < 0) {
        ZEL_TRACE(TRACE_LEVEL_TRACE, "<exceed the low limit.return 2.");
        return 2;
    }
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<return %d.", 0);
    return 0;
}

void PercentToBytes(FsThresholdRecord* record, const FsSizeNode* size) {
    trace_pointers(record, size, __func__);
    for (const ThresholdPair& pair : kThresholdPairs) {
        const std::int32_t percent = entry_number(entry[pair.entry]);
        if (percent < 0 || percent > 100) continue;
        record->*pair.percent = percent;
        record->*pair.space = ConvertThreshold(size->size, percent, kPercentToSpace);
    }
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<");
}

void BytesToPercent(FsThresholdRecord* record, const FsSizeNode* size) {
    trace_pointers(record, size, __func__);
    const std::int32_t limit = space_limit(*size);
    for (const ThresholdPair& pair : kThresholdPairs) {
        const std::int32_t space = entry_number(entry[pair.entry]);
        if (space < 0 || space > limit) continue;
        record->*pair.space = space;
        if (size->size != 0) record->*pair.percent = ConvertThreshold(size->size, space, kSpaceToPercent);
    }
    restore_order(*record);
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<");
}

void refill_empty_entries(const FsThresholdRecord& record, Form form) {
    for (const ThresholdPair& pair : kThresholdPairs) {
        if (entry_is_empty(entry[pair.entry])) set_entry(entry[pair.entry], record.*(pair.*form));
    }
}

std::int32_t selected_mode() {
    ppp = marked_radio_button(radio[0]);
    const auto* const found = std::find(radio.begin(), radio.end(), ppp);
    return found != radio.end() ? static_cast<std::int32_t>(found - radio.begin()) + FS_MODE_OFF : kNoMode;
}

void KeepFSValue(FsThresholdRecord* record, const FsSizeNode* size) {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    ZEL_TRACE(TRACE_LEVEL_TRACE, "data=%p,tmp=%p.", static_cast<void*>(record),
              static_cast<const void*>(size));
    record->mode = selected_mode();
    if (record->mode == FS_MODE_PERCENT) {
        refill_empty_entries(*record, &ThresholdPair::percent);
        PercentToBytes(record, size);
    } else if (record->mode == FS_MODE_SPACE) {
        refill_empty_entries(*record, &ThresholdPair::space);
        BytesToPercent(record, size);
    }
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<");
}

int FreeMemofFSsize(FsSizeNode** head) {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    while (*head != nullptr) {
        FsSizeNode* next = (*head)->next;
        std::free(*head);
        *head = next;
    }
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<");
    return 1;
}

}  // namespace zel::filesystem
