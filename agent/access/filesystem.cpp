// SPDX-License-Identifier: GPL-3.0-or-later
// File systems: what is mounted, with the thresholds of the threshold file.
#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "client/reset_service.h"
#include "handed_out.h"
#include "settings/filesystem_settings.h"
#include "system/mount_probe.h"
#include "system/mounts.h"
#include "zel/access_monitor.h"
#include "zel/trace.h"

namespace {

namespace settings = zel::settings;
namespace client = zel::client;
using settings::FsSettings;
using settings::KnownFilesystems;
using zel::access::handed_out;

constexpr const char* kModule = "filesystem";
constexpr int kDone = 0;
constexpr int kNoService = -1;
/// Longer lists are taken for loops.
constexpr std::size_t kMostRecords = 100'000;

/// Where each threshold stands in a record, in the order of settings::FsLevels.
struct Level {
    std::int32_t FsThresholdRecord::*percent;
    std::int32_t FsThresholdRecord::*space;
};

constexpr std::array<Level, 4> kLevels{{
    {&FsThresholdRecord::fatalReportPercent, &FsThresholdRecord::fatalReportSpace},
    {&FsThresholdRecord::fatalResetPercent, &FsThresholdRecord::fatalResetSpace},
    {&FsThresholdRecord::warningReportPercent, &FsThresholdRecord::warningReportSpace},
    {&FsThresholdRecord::warningResetPercent, &FsThresholdRecord::warningResetSpace},
}};

FsSettings from_record(const FsThresholdRecord& record) {
    FsSettings settings{.mode = record.mode, .percent = {}, .space = {}};
    for (std::size_t i = 0; i < kLevels.size(); ++i) {
        settings.percent.at(i) = record.*kLevels.at(i).percent;
        settings.space.at(i) = record.*kLevels.at(i).space;
    }
    return settings;
}

void fill_record(FsThresholdRecord& record, const std::string& path, const FsSettings& settings) {
    record = {};
    path.copy(record.path, FS_PATH_SIZE - 1);
    record.mode = settings.mode;
    for (std::size_t i = 0; i < kLevels.size(); ++i) {
        record.*kLevels.at(i).percent = settings.percent.at(i);
        record.*kLevels.at(i).space = settings.space.at(i);
    }
}

/// The record's path; nothing when it is empty, relative or not terminated.
std::optional<std::string> path_of(const FsThresholdRecord& record) {
    const std::size_t length = ::strnlen(record.path, FS_PATH_SIZE);
    if (length == FS_PATH_SIZE || record.path[0] != '/') return std::nullopt;
    return std::string(record.path, length);
}

/// False for a list that does not end.
bool is_finite(const FsThresholdRecord* head) {
    std::size_t count = 0;
    for (; head && count <= kMostRecords; head = head->next) {
        ++count;
    }
    return head == nullptr;
}

bool is_interval(int cycle) {
    return settings::kInterval.allows(static_cast<std::uint64_t>(cycle));
}

/// Sizes of those file systems of a list whose free spaces have them for a limit.
settings::FsSizes sizes_for(const FsThresholdRecord* head) {
    std::set<std::string> wanted;
    for (; head; head = head->next) {
        const auto path = head->mode == FS_MODE_SPACE ? path_of(*head) : std::nullopt;
        if (path) wanted.insert(*path);
    }
    auto mounts = wanted.empty() ? std::nullopt : zel::system::read_mounts();
    if (!mounts) return {};
    std::erase_if(*mounts, [&](const auto& mount) { return !wanted.contains(mount.path); });
    return settings::sizes_of(zel::system::ask_mounts(*mounts));
}

/// What a caller's list holds; nothing, and logged, when it cannot be saved.
std::optional<settings::FilesystemSettings> from_list(const FsThresholdRecord* head, int cycle) {
    if (!head || !is_finite(head) || !is_interval(cycle)) {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "Refused: no list, or interval %d.", cycle);
        return std::nullopt;
    }
    settings::FilesystemSettings result{.interval = cycle, .filesystems = {}};
    for (; head; head = head->next) {
        FsSettings settings = from_record(*head);
        const auto path = path_of(*head);
        if (!path || settings::judge(settings, std::nullopt) != 0) {
            ZEL_TRACE(TRACE_LEVEL_ERROR, "Refused: %s is invalid.", path ? path->c_str() : "a path");
            return std::nullopt;
        }
        // The form that does not count may have been derived beyond what there is.
        for (std::size_t i = 0; i < kLevels.size(); ++i) {
            settings.percent.at(i) = std::clamp(settings.percent.at(i), 0, 100);
            settings.space.at(i) = std::max(settings.space.at(i), 0);
        }
        result.filesystems.insert_or_assign(*path, settings);
    }
    return result;
}

/// The caller's list was saved: of what it was handed out, that is what it has now.
void remember(const settings::FilesystemSettings& saved, KnownFilesystems known) {
    known.settings.interval = saved.interval;
    for (auto& [path, one] : known.settings.filesystems) {
        const auto now = saved.filesystems.find(path);
        if (now == saved.filesystems.end()) continue;
        one = now->second;
        if (one.mode != FS_MODE_OFF) known.unsaved.erase(path);
    }
    handed_out<KnownFilesystems>().keep(known);
}

}  // namespace

extern "C" int File_ReadThresholdFromFile(FsThresholdRecord* head, int* cycle) try {
    if (!head || !cycle) return 0;
    const auto listed = settings::list_filesystems();
    if (!listed || listed->paths.empty()) return 0;
    FsThresholdRecord* further = nullptr;
    for (auto path = listed->paths.rbegin(); path + 1 != listed->paths.rend(); ++path) {
        auto* record = static_cast<FsThresholdRecord*>(std::malloc(sizeof(FsThresholdRecord)));
        if (!record) {
            ZEL_TRACE(TRACE_LEVEL_RESOURCE, "No memory for %zu records.", listed->paths.size());
            FreeMemofStruct(&further);
            return 0;
        }
        fill_record(*record, *path, listed->of(*path));
        record->next = further;
        further = record;
    }
    fill_record(*head, listed->paths.front(), listed->of(listed->paths.front()));
    head->next = further;
    *cycle = listed->known.settings.interval;
    handed_out<KnownFilesystems>().keep(listed->known);
    return 1;
} catch (...) {
    return 0;
}

extern "C" int TestInputFilesysParameter(FsThresholdRecord* head, int cycle) try {
    if (!head || !is_finite(head)) return FS_TEST_FAILED;
    const settings::FsSizes sizes = sizes_for(head);
    int bits = is_interval(cycle) ? 0 : FS_TEST_INTERVAL;
    for (const FsThresholdRecord* record = head; record; record = record->next) {
        const auto path = path_of(*record);
        if (!path) return FS_TEST_FAILED;
        const auto size = sizes.find(*path);
        bits |=
            settings::judge(from_record(*record), size != sizes.end() ? size->second : settings::FsSize());
    }
    return bits;
} catch (...) {
    return FS_TEST_FAILED;
}

extern "C" int ResetFilesysService(FsThresholdRecord* head, int cycle) try {
    const auto settings = from_list(head, cycle);
    const auto before = handed_out<KnownFilesystems>().last();
    if (!settings || !settings::save_filesystems(*settings, before, settings::mounted()))
        return FS_WRITE_FAILED;
    if (before) remember(*settings, *before);
    return client::reset_service("filesystem") ? kDone : kNoService;
} catch (...) {
    return FS_WRITE_FAILED;
}

extern "C" int FreeMemofStruct(FsThresholdRecord** head) {
    while (head && *head) {
        std::free(std::exchange(*head, (*head)->next));
    }
    return 1;
}
