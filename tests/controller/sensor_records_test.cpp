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
simulator::Sensor volts(int factor, int exponent, int offset = 0) {
    simulator::Sensor sensor;
    sensor.name = "V";
    sensor.type = 2;
    sensor.unit = 4;
    sensor.format = 0;
    sensor.factor = factor;
    sensor.exponent = exponent;
    sensor.offset = offset;
    sensor.max_code = 255;
    sensor.min_code = 0;
    return sensor;
}

bmc::Sensor parsed(const simulator::Sensor& sensor) {
    const auto result = bmc::parse_record(simulator::record_of(sensor));
    EXPECT_TRUE(result.sensor) << (result.fault ? result.fault : "no sensor");
    return result.sensor.value_or(bmc::Sensor{});
}

TEST(SensorRecords, CodesOfMillivoltsComeBackAndValuesOutsideAreRefused) {
    for (const auto& [factor, exponent] :
         {std::pair{63, -3}, {60, -3}, {157, -4}, {98, -4}, {39, -4}, {1, -3}}) {
        const Conversion conversion = parsed(volts(factor, exponent)).conversion;
        for (int code = 0; code < 256; ++code) {
            const auto byte = static_cast<std::uint8_t>(code);
            ASSERT_EQ(conversion.code(conversion.whole(byte)), byte) << factor << "e" << exponent;
        }
    }
    const Conversion twelve = parsed(volts(63, -3)).conversion;
    EXPECT_EQ(twelve.code(16065 + 31), 255);
    EXPECT_EQ(twelve.code(16065 + 32), std::nullopt);
    EXPECT_EQ(twelve.code(17000), std::nullopt);
    EXPECT_EQ(twelve.code(-32), std::nullopt);
    EXPECT_EQ(twelve.code(INT64_MAX), std::nullopt);

    const Conversion celsius = parsed(simulator::Sensor{}).conversion;
    EXPECT_EQ(celsius.code(127), 127);
    EXPECT_EQ(celsius.code(-128), 128);
    EXPECT_EQ(celsius.code(128), std::nullopt);
    EXPECT_EQ(celsius.code(200), std::nullopt);
}

TEST(SensorRecords, EveryFormatAndUnitDecodes) {
    struct Case {
        std::uint8_t unit;
        std::uint8_t format;
        int factor, offset, exponent, offset_exponent;
        std::uint8_t code;
        std::int64_t value;
    };
    for (const Case& c : {Case{1, 2, 1, 0, 0, 0, 0xfb, -5}, Case{1, 1, 1, 0, 0, 0, 0xfa, -5},
                          Case{1, 0, 5, 0, -1, 0, 141, 71}, Case{1, 0, 1, -4, 0, 1, 30, -10},
                          Case{2, 0, 1, 0, 0, 0, 212, 100}, Case{3, 0, 2, 0, 0, 0, 150, 27},
                          Case{1, 0, -1, 100, 0, 0, 30, 70}, Case{1, 0, 511, -512, -2, 0, 1, 0}}) {
        simulator::Sensor sensor;
        sensor.name = "T";
        sensor.unit = c.unit;
        sensor.format = c.format;
        sensor.factor = c.factor;
        sensor.offset = c.offset;
        sensor.exponent = c.exponent;
        sensor.offset_exponent = c.offset_exponent;
        EXPECT_EQ(parsed(sensor).conversion.whole(c.code), c.value) << int{c.unit} << " factor " << c.factor;
    }
}

TEST(SensorRecords, RangeIsRoundedInwardOrThatOfAllCodes) {
    simulator::Sensor sensor = volts(157, -4);
    sensor.max_code = 250;
    sensor.min_code = 3;
    EXPECT_EQ(parsed(sensor).greatest, 3925);  // 3925.0
    EXPECT_EQ(parsed(sensor).least, 48);       // 47.1
    for (const auto& [max_code, min_code] : {std::pair{0, 0}, {3, 250}, {9, 9}}) {
        sensor.max_code = max_code;
        sensor.min_code = min_code;
        EXPECT_EQ(parsed(sensor).greatest, 4003);  // 4003.5
        EXPECT_EQ(parsed(sensor).least, 0);
    }
}

TEST(SensorRecords, WhatCannotBeTrustedIsLeftOut) {
    simulator::Sensor good;
    good.name = "Good";
    const Record record = simulator::record_of(good);
    for (std::size_t size = 0; size < record.size(); ++size) {
        EXPECT_FALSE(bmc::parse_record(std::span(record).first(size)).sensor) << size;
    }
    struct Change {
        std::size_t place;
        std::uint8_t value;
        bool told;  // else the record is silently somebody else's
    };
    for (const Change& change : {Change{4, 200, true},
                                 {47, 0xdf, true},
                                 {24, 0, true},
                                 {23, 0x70, true},
                                 {20, 0xc0, true},
                                 {20, 0x81, true},
                                 {21, 6, true},
                                 {22, 1, true},
                                 {29, 0x70, true},
                                 {3, 2, false},
                                 {5, 0x22, false},
                                 {6, 0x10, false},
                                 {12, 4, false},
                                 {13, 3, false}}) {
        Record bad = record;
        bad[change.place] = change.value;
        const auto result = bmc::parse_record(bad);
        EXPECT_FALSE(result.sensor) << change.place;
        EXPECT_EQ(result.fault != nullptr, change.told) << change.place;
    }
}

TEST(SensorRecords, MutatedRecordsNeverBreakTheRules) {
    std::mt19937 random(7);
    simulator::Sensor base = volts(63, -3);
    base.name = "Sixteen letters.";
    const Record original = simulator::record_of(base);
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
    std::vector<bmc::Sensor> sensors;
    const auto add = [&sensors](std::uint8_t name_type, Record name, std::uint8_t entity,
                                std::uint8_t instance) {
        simulator::Sensor sensor;
        sensor.number = static_cast<std::uint8_t>(sensors.size());
        sensor.lun = 1;
        sensor.entity = entity;
        sensor.instance = instance;
        sensor.name.assign(name.begin(), name.end());
        Record record = simulator::record_of(sensor);
        record[47] = static_cast<std::uint8_t>(name_type << 6 | name.size());
        sensors.push_back(bmc::parse_record(record).sensor.value());
    };
    add(3, {'T', 'e', 'm', 'p'}, 3, 1);
    add(3, {'T', 'e', 'm', 'p', 0, 0}, 3, 2);
    add(3, {'A', 'u', 'x', ' '}, 0xc0, 1);
    add(3, {'A', 'u', 'x'}, 0xc0, 2);
    add(3, {}, 3, 1);
    add(3, {'\x1b', '[', 'H', 0xe9, 'x'}, 3, 1);
    add(2, {0x29, 0xdc, 0xa6}, 3, 1);  // six bits a character
    add(1, {0x12, 0xb3}, 3, 1);        // four bits
    bmc::make_names_distinct(sensors);
    const std::vector<std::string> expected{"Temp (CPU 1)", "Temp (CPU 2)", "Aux #1.2", "Aux #1.3",
                                            "#1.4",         "?[H?x",        "IPMI",     "12-3"};
    for (std::size_t i = 0; i < expected.size(); ++i)
        EXPECT_EQ(sensors[i].name, expected[i]);
}

}  // namespace
