// SPDX-License-Identifier: GPL-3.0-or-later
// The arithmetic of file-system thresholds: percent in use beside free MiB, both kept in one record.
//
// A percentage p and a free space s belong together by s = (100 - p) x size, where size is one hundredth
// of the capacity in MiB. The four thresholds are read from the panel's entries.
#pragma once

#include <agntconf/newtlib.h>
#include <zel/access_monitor.h>

#include <array>
#include <cstdint>

namespace zel::filesystem {

/// The panel's entries: 0 the interval, 2 fatal/report, 3 warning/report, 4 fatal/reset, 5 warning/reset.
extern std::array<newtComponent, 6> entry;
/// The mode buttons, by mode - 2: not watched, percent, free space.
extern std::array<newtComponent, 3> radio;
/// The radio button last found selected.
extern newtComponent ppp;

/// Where one entry's value lives in the record, in both forms.
struct ThresholdPair {
    std::size_t entry;
    std::int32_t FsThresholdRecord::*percent;
    std::int32_t FsThresholdRecord::*space;
};
inline constexpr std::array<ThresholdPair, 4> kThresholdPairs = {
    {{2, &FsThresholdRecord::fatalReportPercent, &FsThresholdRecord::fatalReportSpace},
     {3, &FsThresholdRecord::warningReportPercent, &FsThresholdRecord::warningReportSpace},
     {4, &FsThresholdRecord::fatalResetPercent, &FsThresholdRecord::fatalResetSpace},
     {5, &FsThresholdRecord::warningResetPercent, &FsThresholdRecord::warningResetSpace}}};
/// One of the two forms.
using Form = std::int32_t FsThresholdRecord::*ThresholdPair::*;

/// Converts one value in 32-bit results. Flag 0: percent to space; flag 1: space to percent, the lower of
/// two when it lies between; any other flag gives 0. `maxsize` 0 has no free space: 100 percent.
int ConvertThreshold(std::uint64_t maxsize, int threshold, int flag);

/// 0 when all four values lie in 0 to `limit`, 1 when one is above it, else 2 when one is below 0.
int TestCurrentFSValue(int a, int b, int c, int d, std::int64_t limit);

/// Takes the entries as percentages and fills both forms; a value outside 0 to 100 changes nothing.
void PercentToBytes(FsThresholdRecord* record, const FsSizeNode* size);

/// Takes the entries as free spaces and fills both forms, a value out of range changing nothing, then puts
/// the percentages in order. With `size` 0 nothing is converted.
void BytesToPercent(FsThresholdRecord* record, const FsSizeNode* size);

/// Gives empty entries the record's values of a form back.
void refill_empty_entries(const FsThresholdRecord& record, Form form);

/// Stores the chosen mode and what the entries hold.
void KeepFSValue(FsThresholdRecord* record, const FsSizeNode* size);

/// The mode of the selected radio button (2 to 4), 5 when none of the three is selected.
std::int32_t selected_mode();

/// Frees the list of sizes and sets `*head` to null. Always 1.
int FreeMemofFSsize(FsSizeNode** head);

}  // namespace zel::filesystem
