// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include "simulation.h"
#include "wave.h"

namespace zel::simulator {
namespace {

// A sensor is read each 60 to 70 seconds, and told of when two readings agree.
constexpr unsigned kSeen = 150;

TEST(Waves, OneSensorWarnsAndStopsLongEnoughToBeToldAndNoOtherDoes) {
    const auto sensors = small_server();
    for (const auto& [number, low, high, period] : small_server_waves()) {
        const auto& codes = std::ranges::find(sensors, number, &Sensor::number)->codes;
        unsigned above = 0;
        unsigned first = 0;
        for (unsigned second = 0; second < period; ++second) {
            const int code = static_cast<int>(wave(low, high, period, second + 3 * period));
            ASSERT_TRUE(codes[kLnc] < code && code < codes[kUc]) << +number << " at " << second;
            if (code >= codes[kUnc] && above++ == 0) first = second;
        }
        const bool told = above > kSeen && period - above > kSeen && first < 125;
        EXPECT_EQ(std::pair(above > 0, told), std::pair(number == 1, number == 1)) << above << ' ' << first;
    }
}

}  // namespace
}  // namespace zel::simulator
