// SPDX-License-Identifier: GPL-3.0-or-later
#include "../../src/monitor/filesystem_thresholds.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>

#include "newt_doubles.h"

namespace zel::filesystem {
namespace {

constexpr int kLowest = std::numeric_limits<int>::min();
constexpr int kHighest = std::numeric_limits<int>::max();
constexpr std::uint64_t k4G = std::uint64_t{1} << 32U;
/// fatal report, fatal reset, warning report, warning reset
using Four = std::array<int, 4>;
using Texts = std::array<std::string, 4>;
constexpr std::array<std::size_t, 4> kEntries = {2, 4, 3, 5};  // in that order

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

constexpr Four kPercents = {4, 3, 2, 1};
constexpr Four kSpaces = {11, 12, 13, 14};

/// The panel's entries, and a record with percentages and the spaces 11 to 14.
class Thresholds : public testing::Test {
  protected:
    Thresholds() {
        for (newtComponent& each : entry)
            each = screen.make("entry", "");
    }
    void enter(const Texts& texts, const Four& percents) {
        r.fatalReportPercent = percents[0];
        r.fatalResetPercent = percents[1];
        r.warningReportPercent = percents[2];
        r.warningResetPercent = percents[3];
        r.fatalReportSpace = 11;
        r.fatalResetSpace = 12;
        r.warningReportSpace = 13;
        r.warningResetSpace = 14;
        for (std::size_t i = 0; i < texts.size(); ++i)
            entry[kEntries[i]]->text = texts[i];
    }
    void expect(const Four& percents, const Four& spaces) const {
        EXPECT_EQ(percents, (Four{r.fatalReportPercent, r.fatalResetPercent, r.warningReportPercent,
                                  r.warningResetPercent}));
        EXPECT_EQ(spaces,
                  (Four{r.fatalReportSpace, r.fatalResetSpace, r.warningReportSpace, r.warningResetSpace}));
    }

    test::NewtDoubles screen;
    FsThresholdRecord r{};
    FsSizeNode size{};
};

TEST_F(Thresholds, EveryEntryFillsBothFormsOrNone) {
    struct Case {
        void (*convert)(FsThresholdRecord*, const FsSizeNode*);
        std::uint64_t size;
        Texts entered;
        Four percents, spaces;
        Four before = kPercents;
    };
    const auto to_bytes = PercentToBytes;
    const auto to_percent = BytesToPercent;
    const Case cases[] = {
        Case{to_bytes, 37, {"90", "80", "70", "60"}, {90, 80, 70, 60}, {370, 740, 1110, 1480}},
        Case{to_bytes, 37, {"101", "-99999999999999999999", "0", "100"}, {4, 3, 0, 100}, {11, 12, 3700, 0}},
        Case{to_bytes, k4G + 1, {"60", "70", "80", "90"}, {60, 70, 80, 90}, {40, 30, 20, 10}},  // no mending
        Case{to_percent, 37, {"370", "741", "1110", "1480"}, {90, 79, 70, 60}, {370, 741, 1110, 1480}},
        Case{to_percent, 37, {"0", "3700", "3701", "-1"}, {100, 0, -1, -2}, {0, 3700, 13, 14}},
        Case{to_percent, 10, {"200", "150", "150", "100"}, {80, 79, 78, 77}, {200, 150, 150, 100}},
        // Without a size nothing is converted; the order is restored all the same.
        Case{to_percent, 0, {"0", "0", "1", "-1"}, kPercents, {0, 0, 13, 14}},
        Case{to_percent, 0, {"0", "0", "0", "0"}, kPercents, {0, 0, 0, 0}, {4, 5, 6, 7}},
        // The limit has 32 bits: 100 MiB here, and here a negative number.
        Case{to_percent, k4G + 1, {"100", "101", "0", "50"}, {99, 3, 2, 1}, {100, 12, 0, 50}},
        Case{to_percent, 21474837, {"0", "1", "2", "3"}, kPercents, kSpaces}};
    for (const auto& [convert, hundredth, entered, percents, spaces, before] : cases) {
        SCOPED_TRACE(std::to_string(hundredth) + ": " + entered[0] + " " + entered[1]);
        enter(entered, before);
        size.size = hundredth;
        convert(&r, &size);
        expect(percents, spaces);
    }
}

}  // namespace
}  // namespace zel::filesystem
