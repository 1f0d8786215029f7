// SPDX-License-Identifier: GPL-3.0-or-later
// Sensor data records and conversions, without a controller.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "bmc/sensor_list.h"
#include "simulation.h"
#include "zel/access_ipmi.h"

namespace {

using namespace zel;
using bmc::Conversion;
using Record = std::vector<std::uint8_t>;

/// A voltage sensor of `factor` * 10^`exponent` volts a step.
simulator::Sensor volts(int factor, int exponent) {
    return {.name = "Sixteen letters.",
            .type = 2,
            .unit = 4,
            .format = 0,
            .factor = factor,
            .exponent = exponent,
            .max_code = 255,
            .min_code = 0};
}

bmc::Sensor parsed(const simulator::Sensor& sensor) {
    return bmc::parse_record(simulator::record_of(sensor)).sensor.value();
}

TEST(SensorRecords, CodesComeBackAndValuesOutsideAreRefused) {
    for (const auto& [factor, exponent] : {std::pair{63, -3}, {157, -4}, {39, -4}, {1, -3}}) {
        const Conversion conversion = parsed(volts(factor, exponent)).conversion;
        for (int code = 0; code < 256; ++code) {
            const auto byte = static_cast<std::uint8_t>(code);
            ASSERT_EQ(conversion.code(conversion.whole(byte)), byte) << factor << "e" << exponent;
        }
    }
    const Conversion twelve = parsed(volts(63, -3)).conversion;
    EXPECT_EQ(twelve.code(16065 + 31), 255);
    for (const std::int64_t outside : {std::int64_t{16065 + 32}, std::int64_t{-32}, INT64_MAX})
        EXPECT_EQ(twelve.code(outside), std::nullopt);
    const Conversion celsius = parsed({.name = "T"}).conversion;
    EXPECT_EQ(celsius.code(-128), 128);
    EXPECT_EQ(celsius.code(128), std::nullopt);

    simulator::Sensor narrow = volts(157, -4);
    narrow.max_code = 250;
    narrow.min_code = 3;
    EXPECT_EQ(parsed(narrow).greatest, 3925);
    EXPECT_EQ(parsed(narrow).least, 48);  // 47.1
    narrow.min_code = 251;                // no range: that of all codes
    EXPECT_EQ(parsed(narrow).greatest, 4003);
    EXPECT_EQ(parsed(narrow).least, 0);
}

TEST(SensorRecords, EveryFormatAndUnitDecodes) {
    struct Case {
        std::uint8_t unit, format;
        int factor, offset, exponent, offset_exponent;
        std::uint8_t code;
        std::int64_t value;
    };
    for (const Case& c : {Case{1, 2, 1, 0, 0, 0, 0xfb, -5}, Case{1, 1, 1, 0, 0, 0, 0xfa, -5},
                          Case{1, 0, 5, 0, -1, 0, 141, 71}, Case{1, 0, 1, -4, 0, 1, 30, -10},
                          Case{2, 0, 1, 0, 0, 0, 212, 100}, Case{3, 0, 2, 0, 0, 0, 150, 27},
                          Case{1, 0, -1, 100, 0, 0, 30, 70}, Case{1, 0, 511, -512, -2, 0, 1, 0}}) {
        const simulator::Sensor sensor{.name = "T",
                                       .unit = c.unit,
                                       .format = c.format,
                                       .factor = c.factor,
                                       .offset = c.offset,
                                       .exponent = c.exponent,
                                       .offset_exponent = c.offset_exponent};
        EXPECT_EQ(parsed(sensor).conversion.whole(c.code), c.value) << int{c.unit} << " factor " << c.factor;
    }
}

TEST(SensorRecords, WhatCannotBeTrustedIsLeftOut) {
    const Record record = simulator::record_of({.name = "Good"});
    for (std::size_t size = 0; size < record.size(); ++size)
        EXPECT_FALSE(bmc::parse_record(std::span(record).first(size)).sensor) << size;
    struct Change {
        std::size_t place;
        std::uint8_t value;
        bool told;  // else the record is silently somebody else's
    };
    for (const Change& change :
         {Change{4, 200, true}, Change{47, 0xdf, true}, Change{24, 0, true}, Change{23, 0x70, true},
          Change{20, 0xc0, true}, Change{21, 6, true}, Change{22, 1, true}, Change{29, 0x70, true},
          Change{3, 2, false}, Change{5, 0x22, false}, Change{12, 4, false}, Change{13, 3, false}}) {
        Record bad = record;
        bad[change.place] = change.value;
        const auto result = bmc::parse_record(bad);
        EXPECT_FALSE(result.sensor) << change.place;
        EXPECT_EQ(result.fault != nullptr, change.told) << change.place;
    }
}

TEST(SensorRecords, MutatedRecordsNeverBreakTheRules) {
    std::mt19937 random(7);
    const Record original = simulator::record_of(volts(63, -3));
    int sensors = 0;
    for (int round = 0; round < 20000; ++round) {
        Record record = original;
        for (auto changes = 1 + random() % 6; changes > 0; --changes)
            record[random() % record.size()] = static_cast<std::uint8_t>(random());
        if (random() % 8 == 0) record.resize(random() % (record.size() + 1));
        const auto result = bmc::parse_record(record);
        if (!result.sensor) continue;
        ++sensors;
        const bmc::Sensor& sensor = *result.sensor;
        ASSERT_TRUE(std::ranges::all_of(sensor.name, [](char c) { return c >= ' ' && c <= '~'; }));
        ASSERT_LT(sensor.name.size(), 64U);
        ASSERT_EQ(sensor.settable & ~sensor.readable, 0);
        for (const double end : {sensor.conversion.lowest(), sensor.conversion.highest()})
            ASSERT_LT(std::abs(end), static_cast<double>(SENSOR_NO_THRESHOLD));
    }
    EXPECT_GT(sensors, 1000);
}

TEST(SensorRecords, NamesAreReadableAndDistinct) {
    struct Case {
        int type;
        std::string name;
        std::uint8_t entity, instance;
        const char* shown;
    };
    const std::vector<Case> cases{{3, "Temp", 3, 1, "Temp (CPU 1)"},
                                  {3, std::string("Temp\0\0", 6), 3, 2, "Temp (CPU 2)"},
                                  {3, "Aux ", 0xc0, 1, "Aux #1.2"},
                                  {3, "Aux", 0xc0, 2, "Aux #1.3"},
                                  {3, "", 3, 1, "#1.4"},
                                  {3, "\x1b[H\xe9x", 3, 1, "?[H?x"},
                                  {2, "\x29\xdc\xa6", 3, 1, "IPMI"},
                                  {1, "\x12\xb3", 3, 1, "12-3"}};
    std::vector<bmc::Sensor> sensors;
    for (const Case& c : cases) {
        Record record = simulator::record_of({.name = c.name,
                                              .lun = 1,
                                              .number = static_cast<std::uint8_t>(sensors.size()),
                                              .entity = c.entity,
                                              .instance = c.instance});
        record[47] = static_cast<std::uint8_t>(c.type << 6 | static_cast<int>(c.name.size()));
        sensors.push_back(bmc::parse_record(record).sensor.value());
    }
    bmc::make_names_distinct(sensors);
    for (std::size_t i = 0; i < cases.size(); ++i)
        EXPECT_EQ(sensors[i].name, cases[i].shown);
}

}  // namespace
