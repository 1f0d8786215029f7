// SPDX-License-Identifier: GPL-3.0-or-later
#include "../../src/monitor/filesystem_thresholds.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>

namespace zel::filesystem {
namespace {

constexpr int kLowest = std::numeric_limits<int>::min();
constexpr int kHighest = std::numeric_limits<int>::max();
constexpr std::uint64_t k4G = std::uint64_t{1} << 32U;
/// fatal report, fatal reset, warning report, warning reset
using Four = std::array<int, 4>;

TEST(ConvertThreshold, ConvertsWithin32Bits) {
    struct Case {
        std::uint64_t size;
        int threshold, flag, result;
    };
    for (const auto& [size, threshold, flag, result] :
         {Case{37, 90, 0, 370}, Case{37, 101, 0, -37}, Case{0, 50, 0, 0}, Case{k4G + 5, 90, 0, 50},
          Case{k4G / 2, 0, 0, 0}, Case{k4G / 2, 1, 0, kLowest}, Case{1, kLowest, 0, kLowest + 100},
          Case{37, 370, 1, 90}, Case{37, 371, 1, 89}, Case{37, -1, 1, 100}, Case{37, -37, 1, 101},
          Case{0, 5, 1, 100}, Case{k4G, 10, 1, 99}, Case{std::uint64_t{1} << 63U, 0, 1, 0},
          Case{37, 90, 2, 0}})
        EXPECT_EQ(ConvertThreshold(size, threshold, flag), result)
            << size << ", " << threshold << ", " << flag;
}

TEST(TestCurrentFSValue, JudgesTheHighestBeforeTheLowest) {
    struct Case {
        Four values;
        std::int64_t limit;
        int result;
    };
    for (const auto& [v, limit, result] :
         {Case{{0, 100, 50, 1}, 100, 0}, Case{{50, 200, -1, 0}, 100, 1}, Case{{0, 0, 0, 101}, 100, 1},
          Case{{-1, 0, 0, 0}, 100, 2}, Case{{0, 0, 0, kLowest}, 0, 2},
          Case{{kHighest, 0, 0, 0}, std::numeric_limits<std::int64_t>::max(), 0}})
        EXPECT_EQ(TestCurrentFSValue(v[0], v[1], v[2], v[3], limit), result) << v[0] << ", limit " << limit;
}

}  // namespace
}  // namespace zel::filesystem
