// SPDX-License-Identifier: GPL-3.0-or-later
#include "../../src/monitor/filesystem_thresholds.h"

#include <gtest/gtest.h>

#include <limits>

#include "newt_doubles.h"

namespace zel::filesystem {
namespace {

constexpr int kLowest = std::numeric_limits<int>::min();
constexpr int kHighest = std::numeric_limits<int>::max();
/// fatal report, fatal reset, warning report, warning reset
using Four = std::array<int, 4>;
using Texts = std::array<const char*, 4>;
constexpr std::array<std::size_t, 4> kEntries = {2, 4, 3, 5};  // in that order

TEST(ConvertThreshold, ConvertsWithin32Bits) {
    struct Case {
        std::uint64_t size;
        int threshold;
        int flag;
        int result;
    };
    constexpr std::uint64_t k4G = std::uint64_t{1} << 32U;
    const Case cases[] = {{37, 90, 0, 370},
                          {37, 0, 0, 3700},
                          {37, 100, 0, 0},
                          {37, 101, 0, -37},
                          {0, 50, 0, 0},
                          {k4G + 5, 90, 0, 50},
                          {k4G / 2, 0, 0, 0},
                          {k4G / 2, 1, 0, kLowest},
                          {1, kLowest, 0, kLowest + 100},
                          {37, 370, 1, 90},
                          {37, 371, 1, 89},
                          {37, 0, 1, 100},
                          {37, 3700, 1, 0},
                          {37, -1, 1, 100},
                          {37, -37, 1, 101},
                          {1, 101, 1, -1},
                          {0, 0, 1, 100},
                          {0, 5, 1, 100},
                          {k4G, 10, 1, 99},
                          {k4G, kHighest, 1, 99},
                          {std::uint64_t{1} << 63U, 0, 1, 0},
                          {37, 90, 2, 0},
                          {37, 90, -1, 0}};
    for (const auto& [size, threshold, flag, result] : cases)
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
         {Case{{0, 100, 50, 1}, 100, 0}, Case{{50, 200, -1, 0}, 100, 1}, Case{{101, 0, 0, 0}, 100, 1},
          Case{{0, 0, 0, 101}, 100, 1}, Case{{-1, 0, 0, 0}, 100, 2}, Case{{0, 0, 0, kLowest}, 0, 2},
          Case{{0, 0, 0, 0}, 0, 0}, Case{{kHighest, kHighest, kHighest, 0}, kHighest, 0},
          Case{{kHighest, 0, 0, 0}, std::numeric_limits<std::int64_t>::max(), 0}}) {
        EXPECT_EQ(TestCurrentFSValue(v[0], v[1], v[2], v[3], limit), result) << v[0] << ", limit " << limit;
    }
}

/// The panel's entries and radio buttons, and a record with percentages 4 to 1 and spaces 11 to 14.
class Thresholds : public testing::Test {
  protected:
    Thresholds() {
        for (newtComponent& each : entry)
            each = screen.make("entry", "");
        for (newtComponent& each : radio)
            each = screen.make("radio", "");
    }
    void enter(const Texts& texts) {
        record.fatalReportPercent = 4;
        record.fatalResetPercent = 3;
        record.warningReportPercent = 2;
        record.warningResetPercent = 1;
        record.fatalReportSpace = 11;
        record.fatalResetSpace = 12;
        record.warningReportSpace = 13;
        record.warningResetSpace = 14;
        for (std::size_t i = 0; i < texts.size(); ++i)
            entry[kEntries[i]]->text = texts[i];
    }
    Four percents() const {
        return {record.fatalReportPercent, record.fatalResetPercent, record.warningReportPercent,
                record.warningResetPercent};
    }
    Four spaces() const {
        return {record.fatalReportSpace, record.fatalResetSpace, record.warningReportSpace,
                record.warningResetSpace};
    }

    test::NewtDoubles screen;
    FsThresholdRecord record{};
    FsSizeNode size{};
};

constexpr Four kPercents = {4, 3, 2, 1};
constexpr Four kSpaces = {11, 12, 13, 14};

TEST_F(Thresholds, EveryEntryFillsBothFormsOrNone) {
    struct Case {
        void (*convert)(FsThresholdRecord*, const FsSizeNode*);
        std::uint64_t size;
        Texts entered;
        Four percents;
        Four spaces;
    };
    constexpr std::uint64_t k4G = std::uint64_t{1} << 32U;
    const Case cases[] = {
        {PercentToBytes, 37, {"90", "80", "70", "60"}, {90, 80, 70, 60}, {370, 740, 1110, 1480}},
        {PercentToBytes, 37, {"101", "-1", "0", "100"}, {4, 3, 0, 100}, {11, 12, 3700, 0}},
        {PercentToBytes,
         37,
         {"99999999999999999999", "-99999999999999999999", "", "-"},
         {4, 3, 0, 0},
         {11, 12, 3700, 3700}},
        {PercentToBytes,
         37,
         {"10", "20", "30", "40"},
         {10, 20, 30, 40},
         {3330, 2960, 2590, 2220}},  // no mending
        {PercentToBytes, 0, {"90", "80", "70", "60"}, {90, 80, 70, 60}, {0, 0, 0, 0}},
        {PercentToBytes, k4G + 1, {"90", "80", "70", "60"}, {90, 80, 70, 60}, {10, 20, 30, 40}},
        {BytesToPercent, 37, {"370", "741", "1110", "1480"}, {90, 79, 70, 60}, {370, 741, 1110, 1480}},
        {BytesToPercent, 37, {"0", "3700", "3701", "-1"}, {100, 0, -1, -2}, {0, 3700, 13, 14}},
        {BytesToPercent, 10, {"200", "150", "150", "100"}, {80, 79, 78, 77}, {200, 150, 150, 100}},
        {BytesToPercent, 10, {"1000", "0", "0", "0"}, {0, -1, -2, -3}, {1000, 0, 0, 0}},
        {BytesToPercent, 10, {"-1", "-1", "-1", "-1"}, kPercents, kSpaces},
        {BytesToPercent, 0, {"0", "0", "1", "-1"}, kPercents, {0, 0, 13, 14}},
        // The limit has 32 bits: 100 MiB here, and here a negative number.
        {BytesToPercent, k4G + 1, {"100", "101", "0", "50"}, {99, 3, 2, 1}, {100, 12, 0, 50}},
        {BytesToPercent, 21474837, {"0", "1", "2", "3"}, kPercents, kSpaces},
        {BytesToPercent,
         21474836,
         {"0", "1", "21474836", "2147483600"},
         {100, 99, 98, 0},
         {0, 1, 21474836, 2147483600}},
    };
    for (const auto& [convert, hundredth, entered, expected_percents, expected_spaces] : cases) {
        SCOPED_TRACE(std::to_string(hundredth) + ": " + entered[0] + " " + entered[1]);
        enter(entered);
        size.size = hundredth;
        convert(&record, &size);
        EXPECT_EQ(percents(), expected_percents);
        EXPECT_EQ(spaces(), expected_spaces);
    }
}

TEST_F(Thresholds, KeepingRefillsEmptyEntriesOfTheChosenForm) {
    struct Case {
        int selected;  // radio button, -1 for none
        Texts entered;
        int mode;
        std::array<std::string, 4> shown;
        Four percents;
        Four spaces;
    };
    size.size = 10;
    for (const auto& [selected, entered, mode, expected, expected_percents, expected_spaces] :
         {Case{0, {"", "9", "9", ""}, 2, {"", "9", "9", ""}, kPercents, kSpaces},
          Case{1, {"90", "", "70", ""}, 3, {"90", "3", "70", "1"}, {90, 3, 70, 1}, {100, 970, 300, 990}},
          Case{
              2, {"", "200", "", "400"}, 4, {"11", "200", "13", "400"}, {98, 80, 79, 60}, {11, 200, 13, 400}},
          Case{-1, {"", "9", "9", ""}, 5, {"", "9", "9", ""}, kPercents, kSpaces}}) {
        SCOPED_TRACE(mode);
        enter(entered);
        screen.radio = selected >= 0 ? radio[static_cast<std::size_t>(selected)] : nullptr;
        KeepFSValue(&record, &size);
        EXPECT_EQ(record.mode, mode);
        EXPECT_EQ(ppp, screen.radio);
        for (std::size_t i = 0; i < expected.size(); ++i)
            EXPECT_EQ(entry[kEntries[i]]->text, expected[i]);
        EXPECT_EQ(percents(), expected_percents);
        EXPECT_EQ(spaces(), expected_spaces);
    }
}

}  // namespace
}  // namespace zel::filesystem
