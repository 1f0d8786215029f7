// SPDX-License-Identifier: GPL-3.0-or-later
#include "filesystem_lists.h"

#include <sys/vfs.h>
#include <zel/trace.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

#include "filesystem_thresholds.h"

namespace zel::filesystem {

FsThresholdRecord* FSdata = nullptr;
FsThresholdRecord* PreFSdata = nullptr;
FsSizeNode* FSsize = nullptr;
std::int32_t FScycle = 0;
std::int32_t PreFScycle = 0;

namespace {

constexpr char kModule[] = "filesystem";

/// A cleared record for a list that is freed with the C library; null when memory is short.
template <class Record>
Record* allocate() {
    return static_cast<Record*>(std::calloc(1, sizeof(Record)));
}

bool measure_one(const FsThresholdRecord& record, FsSizeNode& node) {
    std::memcpy(node.path, record.path, strnlen(record.path, sizeof node.path - 1));
    struct statfs status {};
    if (statfs(node.path, &status) != 0) return false;
    const auto bytes =
        static_cast<std::uint64_t>(status.f_blocks) * static_cast<std::uint64_t>(status.f_bsize);
    node.size = (bytes >> 20U) / 100;
    return true;
}

/// What makes two records of the same file system equal: the thresholds of both forms, and the mode.
constexpr std::array kComparedThresholds = {
    &FsThresholdRecord::fatalReportSpace,     &FsThresholdRecord::fatalResetSpace,
    &FsThresholdRecord::fatalReportPercent,   &FsThresholdRecord::fatalResetPercent,
    &FsThresholdRecord::warningReportSpace,   &FsThresholdRecord::warningResetSpace,
    &FsThresholdRecord::warningReportPercent, &FsThresholdRecord::warningResetPercent};

bool is_changed(const FsThresholdRecord& edited, const FsThresholdRecord& as_read) {
    return FScycle != PreFScycle || edited.mode != as_read.mode ||
           std::any_of(kComparedThresholds.begin(), kComparedThresholds.end(),
                       [&](auto field) { return edited.*field != as_read.*field; });
}

}  // namespace

Lists::Lists() {
    FScycle = PreFScycle = 0;
    FSdata = allocate<FsThresholdRecord>();
    PreFSdata = allocate<FsThresholdRecord>();
    FSsize = allocate<FsSizeNode>();
}

Lists::~Lists() {
    FreeMemofStruct(&FSdata);
    FreeMemofStruct(&PreFSdata);
    FreeMemofFSsize(&FSsize);
}

bool Lists::allocated() {
    return FSdata != nullptr && PreFSdata != nullptr && FSsize != nullptr;
}

bool Lists::read() {
    const int edited = File_ReadThresholdFromFile(FSdata, &FScycle);
    const int as_read = File_ReadThresholdFromFile(PreFSdata, &PreFScycle);
    return edited == 1 && as_read == 1;
}

Failure Lists::measure() {
    FsSizeNode* node = FSsize;
    for (const FsThresholdRecord* record = FSdata;; record = record->next) {
        if (!measure_one(*record, *node)) return kNoSize;
        if (record->next == nullptr) return {};
        node->next = allocate<FsSizeNode>();
        if (node->next == nullptr) return kNoNode;
        node = node->next;
    }
}

int Test_Changed() {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    int changed = 0;
    FsThresholdRecord* edited = FSdata;
    const FsThresholdRecord* as_read = PreFSdata;
    for (; edited != nullptr && as_read != nullptr; edited = edited->next, as_read = as_read->next) {
        if (!is_changed(*edited, *as_read)) continue;
        changed = 1;
        if (edited->mode != FS_MODE_OFF) continue;
        for (auto field : kComparedThresholds)
            edited->*field = as_read->*field;  // switching off alters none
    }
    if (edited != nullptr || (as_read != nullptr && FSdata != nullptr)) changed = 1;
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<return %d.", changed);
    return changed;
}

}  // namespace zel::filesystem
