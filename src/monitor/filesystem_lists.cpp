// SPDX-License-Identifier: GPL-3.0-or-later
#include "filesystem_lists.h"

#include <sys/vfs.h>

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

}  // namespace zel::filesystem
