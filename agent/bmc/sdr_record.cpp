// SPDX-License-Identifier: GPL-3.0-or-later
#include "sdr_record.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string_view>

namespace zel::bmc {
namespace {

// Where the fields of a full sensor record lie.
enum Offset : std::size_t {
    kType = 3,
    kSize = 4,
    kOwner = 5,
    kLun = 6,
    kNumber = 7,
    kEntity = 8,
    kEntityInstance = 9,
    kCapabilities = 11,
    kSensorType = 12,
    kReadingType = 13,
    kReadable = 18,
    kSettable = 19,
    kUnits = 20,
    kBaseUnit = 21,
    kModifierUnit = 22,
    kLinearisation = 23,
    kFactors = 24,
    kSensorMax = 34,
    kSensorMin = 35,
    kNameType = 47,
    kName = 48,
};

constexpr std::uint8_t kFullRecord = 0x01;
constexpr std::uint8_t kThresholdReading = 0x01;
constexpr std::uint8_t kController = 0x20;
constexpr std::uint8_t kAccessReadable = 1;
constexpr std::uint8_t kAccessSettable = 2;
constexpr std::uint8_t kNoAnalogReading = 3;

// Far below any sensor's step: what the arithmetic of exponents may be off.
constexpr double kTolerance = 1e-6;

/// What turns the record's base unit into ours: degrees Celsius, millivolts.
std::optional<Line> unit_of(Kind kind, std::uint8_t base_unit) {
    if (kind == Kind::voltage) return base_unit == 4 ? std::optional(Line{1000, 0}) : std::nullopt;
    switch (base_unit) {
        case 1:
            return Line{1, 0};
        case 2:
            return Line{5.0 / 9, -160.0 / 9};
        case 3:
            return Line{1, -273.15};
        default:
            return std::nullopt;
    }
}

bool is_known(std::uint8_t linearisation) {
    return linearisation <= Conversion::kLastFunction || linearisation >= Conversion::kFirstNonLinear;
}

/// The record's conversion; on failure the reason in `fault`.
std::optional<Conversion> conversion_of(std::span<const std::uint8_t> record, Kind kind, const char*& fault) {
    const unsigned format = record[kUnits] >> 6;
    const auto linearisation = static_cast<std::uint8_t>(record[kLinearisation] & 0x7f);
    const Line line = line_of(record.subspan<kFactors, kFactorBytes>());
    const auto unit = unit_of(kind, record[kBaseUnit]);
    // Bits 5 to 1 of the units byte say "per second" and "times another unit", bit 0 "percent".
    if (!unit || (record[kUnits] & 0x3f) != 0 || record[kModifierUnit] != 0) {
        fault = "unit not known";
    } else if (format == kNoAnalogReading) {
        fault = "no analog reading";
    } else if (!is_known(linearisation)) {
        fault = "linearisation not known";
    } else if (linearisation < Conversion::kFirstNonLinear && line.factor == 0) {
        fault = "conversion factor is 0";
    } else {
        const Conversion conversion(Conversion::Format{static_cast<std::uint8_t>(format)}, line,
                                    linearisation, *unit);
        if (conversion.is_non_linear() || conversion.lowest() < conversion.highest()) return conversion;
        fault = "values out of any sensor's range";
    }
    return std::nullopt;
}

/// The sensor's range, or that of all codes when the record does not give one. False when no two whole values
/// lie in it.
bool set_range(Sensor& sensor, std::uint8_t max_code, std::uint8_t min_code) {
    const auto inward = [&sensor](double least, double greatest) {
        if (!(least < greatest)) return false;  // or no numbers
        sensor.least = static_cast<std::int64_t>(std::ceil(least - kTolerance));
        sensor.greatest = static_cast<std::int64_t>(std::floor(greatest + kTolerance));
        return sensor.greatest > sensor.least;
    };
    if (sensor.conversion.is_non_linear()) {  // its thresholds, which are only shown, widen this
        sensor.greatest = 1;
        return true;
    }
    const bool given = max_code != 0 || min_code != 0;
    const Conversion& conversion = sensor.conversion;
    if (given && inward(conversion.exact(min_code), conversion.exact(max_code))) return true;
    return inward(conversion.lowest(), conversion.highest());
}

std::string unpack_bcd(std::span<const std::uint8_t> bytes) {
    constexpr std::string_view kCharacters = "0123456789 -.:,_";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += kCharacters[byte >> 4];
        text += kCharacters[byte & 0x0f];
    }
    return text;
}

/// Four characters in three bytes, the first one in the lowest bits.
std::string unpack_six_bits(std::span<const std::uint8_t> bytes) {
    std::string text;
    unsigned pending = 0;
    unsigned bits = 0;
    for (const std::uint8_t byte : bytes) {
        pending |= unsigned{byte} << bits;
        for (bits += 8; bits >= 6; bits -= 6, pending >>= 6)
            text += static_cast<char>(' ' + (pending & 0x3f));
    }
    return text;
}

std::string name_of(std::uint8_t type, std::span<const std::uint8_t> bytes) {
    std::string name;
    if (type == 1) {
        name = unpack_bcd(bytes);
    } else if (type == 2) {
        name = unpack_six_bits(bytes);
    } else {
        name.assign(bytes.begin(), bytes.end());
    }
    // Short names are padded with zeros or blanks.
    name.erase(name.find_last_not_of(std::string_view("\0 ", 2)) + 1);
    std::replace_if(
        name.begin(), name.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    return name;
}

void set_thresholds(Sensor& sensor, std::span<const std::uint8_t> record) {
    const unsigned access = record[kCapabilities] >> 2 & 3U;
    const auto readable = static_cast<std::uint8_t>(record[kReadable] & 0x3f);
    if (access == kAccessReadable || access == kAccessSettable) sensor.readable = readable;
    if (access == kAccessSettable) sensor.settable = record[kSettable] & readable;
}

/// Takes what stands behind the record. False when something stands there that does not belong.
bool take_factors(Sensor& sensor, std::span<const std::uint8_t> bytes) {
    if (!sensor.conversion.is_non_linear()) return bytes.empty();
    sensor.settable = 0;  // no value can be turned into a code
    for (; bytes.size() >= kCodeWithFactors; bytes = bytes.subspan(kCodeWithFactors))
        sensor.conversion.learn(bytes[0], bytes.subspan<1, kFactorBytes>());
    return bytes.empty();
}

}  // namespace

bool may_be_sensor(std::span<const std::uint8_t> record) {
    if (record.size() > kType && record[kType] != kFullRecord) return false;
    if (record.size() <= kSensorType) return true;
    return record[kSensorType] == static_cast<std::uint8_t>(Kind::temperature) ||
           record[kSensorType] == static_cast<std::uint8_t>(Kind::voltage);
}

ParsedRecord parse_record(std::span<const std::uint8_t> record) {
    if (!may_be_sensor(record)) return {};
    const std::size_t size = record.size() > kSize ? kRecordHeader + record[kSize] : kName;
    if (size < kName || record.size() < size) return {{}, "wrong size"};
    const auto factors = record.subspan(size);
    record = record.first(size);
    const std::size_t name_size = record[kNameType] & 0x1fU;
    if (name_size > record.size() - kName) return {{}, "name longer than the record"};
    // Only our controller's own sensors that have thresholds.
    if (record[kOwner] != kController || record[kLun] >> 4 != 0) return {};
    if (record[kReadingType] != kThresholdReading) return {};

    Sensor sensor;
    sensor.kind = static_cast<Kind>(record[kSensorType]);
    sensor.lun = record[kLun] & 3;
    sensor.number = record[kNumber];
    sensor.entity = record[kEntity];
    sensor.entity_instance = record[kEntityInstance] & 0x7f;
    sensor.own_name = sensor.name = name_of(record[kNameType] >> 6, record.subspan(kName, name_size));
    set_thresholds(sensor, record);
    ParsedRecord result;
    if (const auto conversion = conversion_of(record, sensor.kind, result.fault)) {
        sensor.conversion = *conversion;
        if (!take_factors(sensor, factors)) return {{}, "wrong size"};
        if (!set_range(sensor, record[kSensorMax], record[kSensorMin])) return {{}, "range below one unit"};
        result.sensor = std::move(sensor);
    }
    return result;
}

}  // namespace zel::bmc
