// SPDX-License-Identifier: GPL-3.0-or-later
// Sensor data records and conversions; and how lists of them are read from controllers that are not at their
// best.
#include <freeipmi/freeipmi.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <thread>

#include "bmc/controller.h"
#include "bmc/request_limit.h"
#include "bmc/sdr_cache.h"
#include "bmc/sdr_record.h"
#include "panel_table.h"
#include "running_simulator.h"
#include "simulation.h"
#include "store/late_library.h"

namespace {

using namespace zel;
using namespace zel::test;
using bmc::Conversion;
using Record = std::vector<std::uint8_t>;

TEST(SensorRecords, EveryFunctionIsTheOneThatFreeIpmiKnowsAndCodesComeBack) {
    const store::LateLibrary library("libfreeipmi.so.17");
    decltype(&ipmi_sensor_decode_value) decode = nullptr;
    ASSERT_TRUE(library.bind("ipmi_sensor_decode_value", decode));
    std::mt19937 random(3);
    const auto from = [&random](int least, int greatest) {
        return static_cast<std::int16_t>(least + static_cast<int>(random() % unsigned(greatest - least + 1)));
    };
    int compared = 0;
    for (int round = 0; round < 600; ++round) {
        const auto factor = from(-511, 511), offset = from(-511, 511);
        const auto result = static_cast<std::int8_t>(from(-6, 1)),
                   scale = static_cast<std::int8_t>(from(-4, 2));
        simulator::Sensor sensor{.name = "T", .format = static_cast<std::uint8_t>(from(0, 2))};
        sensor.linearisation = static_cast<std::uint8_t>(round % 12);
        sensor.factor = factor, sensor.offset = offset;
        sensor.exponent = result, sensor.offset_exponent = scale;
        const auto read = bmc::parse_record(simulator::record_of(sensor)).sensor;
        if (!read) continue;
        EXPECT_EQ(read->conversion.code(std::numeric_limits<std::int64_t>::max()), std::nullopt);
        if (sensor.linearisation == 0) {  // half a step beyond the ends
            const double half = std::abs(factor) * std::pow(10, result) / 2;
            const auto& ours = read->conversion;
            for (const double end : {ours.highest() + half + 1, ours.lowest() - half - 1})
                EXPECT_EQ(ours.code(std::llround(end)), std::nullopt) << round;
        }
        for (unsigned code = 0; code < 256; ++code) {
            const Conversion& ours = read->conversion;
            const auto byte = static_cast<std::uint8_t>(code);
            double theirs = 0;
            const int status =
                decode(result, scale, factor, offset, sensor.linearisation, sensor.format, byte, &theirs);
            ASSERT_EQ(ours.has_value(byte), status == 0 && std::abs(theirs) <= 16'000'000) << round;
            if (!ours.has_value(byte)) continue;
            ASSERT_NEAR(ours.exact(byte), theirs, 1e-9 * std::abs(theirs) + 1e-9) << round;
            const auto shown = ours.whole(byte);
            const auto back = ours.code(shown);
            if (!back) continue;  // rounded to beyond the ends
            const double away = std::abs(ours.exact(*back) - static_cast<double>(shown));
            ASSERT_LE(away, std::abs(theirs - static_cast<double>(shown)) + 1e-6) << round;
            ++compared;
        }
    }
    EXPECT_GT(compared, 50'000);
}

TEST(SensorRecords, WhatCannotBeTrustedIsLeftOut) {
    const Record record = simulator::record_of({.name = "Good"});
    for (std::size_t size = 0; size < record.size(); ++size)
        EXPECT_FALSE(bmc::parse_record(std::span(record).first(size)).sensor) << size;
    using Change = std::tuple<std::size_t, int, bool>;  // not told: the record is silently somebody else's
    for (const auto& [place, value, told] : {Change{4, 200, true},
                                             {47, 0xdf, true},
                                             {24, 0, true},
                                             {23, 0x0c, true},
                                             {20, 0xc0, true},
                                             {21, 6, true},
                                             {22, 1, true},
                                             {29, 0x70, true},
                                             {3, 2, false},
                                             {5, 0x22, false},
                                             {12, 4, false},
                                             {13, 3, false}}) {
        Record bad = record;
        bad[place] = static_cast<std::uint8_t>(value);
        EXPECT_FALSE(bmc::parse_record(bad).sensor) << place;
        EXPECT_EQ(bmc::parse_record(bad).fault != nullptr, told) << place;
    }
}

constexpr int kZones = 12;

std::vector<simulator::Sensor> zones() {
    std::vector<simulator::Sensor> sensors(kZones);
    for (std::size_t n = 0; n < sensors.size(); ++n)
        sensors[n] = {.name = "Zone " + std::to_string(n), .number = static_cast<std::uint8_t>(n + 1)};
    return sensors;
}

/// Milliseconds that a call takes.
template <class Call>
auto time_of(const Call& call) {
    const auto start = std::chrono::steady_clock::now();
    call();
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start)
        .count();
}

TEST(Requests, EndWhenTheirTimeIsOverOrTheEndIsAskedFor) {
    const RunningSimulator simulator(zones());
    bmc::controller().end_session();
    simulator.rules("delay 100000\n");
    const auto read = [](std::stop_token stop, int longest) {
        const bmc::RequestLimit outer(std::chrono::milliseconds(longest), std::move(stop));
        EXPECT_FALSE(bmc::sensor_records(bmc::controller()));
    };
    EXPECT_LT(time_of([&] { read({}, 500); }), 1000);
    std::stop_source source;
    const std::jthread stopping([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        source.request_stop();
    });
    EXPECT_LT(time_of([&] { read(source.get_token(), 60000); }), 1000);
    simulator.rules("");
    EXPECT_EQ(bmc::sensor_records(bmc::controller())->records.size(), kZones);
}

}  // namespace
