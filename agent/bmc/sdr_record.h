// SPDX-License-Identifier: GPL-3.0-or-later
// Full sensor data records (type 01h) of temperature and voltage sensors. They come from firmware: nothing in
// them is believed before it was checked against the record's own size.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "conversion.h"

namespace zel::bmc {

enum class Kind : std::uint8_t { temperature = 0x01, voltage = 0x02 };

/// The four thresholds that the agent knows, from the top down. IPMI's non-recoverable ones are read, for the
/// others must not go beyond them, and left alone.
inline constexpr std::size_t kThresholds = 4;
/// Where they stand in IPMI's masks (as bits) and lists of codes: upper critical, upper non-critical, lower
/// non-critical, lower critical.
inline constexpr std::array<std::uint8_t, kThresholds> kThresholdBits{4, 3, 0, 1};
/// All six from the top down: the non-recoverable ones around those four.
inline constexpr std::array<std::uint8_t, 6> kAllThresholdBits{5, 4, 3, 0, 1, 2};
inline constexpr std::uint8_t kNonRecoverable = 1U << 5 | 1U << 2;

struct Sensor {
    Kind kind = Kind::temperature;
    std::uint8_t lun = 0;
    std::uint8_t number = 0;
    std::uint8_t entity = 0;           ///< What is measured, as IPMI numbers it.
    std::uint8_t entity_instance = 0;  ///< 1 to 127.
    std::string own_name;              ///< As the record has it, printable ASCII.
    std::string name;                  ///< The same; unique once it comes out of a list of sensors.
    std::uint8_t readable = 0;         ///< Mask of the thresholds that can be read.
    std::uint8_t settable = 0;         ///< Mask of those that can be read and set.
    Conversion conversion;
    std::int64_t least = 0;     ///< Smallest value that the sensor can report, and
    std::int64_t greatest = 0;  ///< largest, rounded inward; greater than `least`.

    /// LUN and number in one: what the controller knows the sensor by.
    [[nodiscard]] std::uint16_t id() const { return static_cast<std::uint16_t>(lun << 8 | number); }
    /// The same as it is told: "0.48".
    [[nodiscard]] std::string place() const { return std::to_string(lun) + '.' + std::to_string(number); }
    [[nodiscard]] bool can_set(std::size_t threshold) const {
        return (settable >> kThresholdBits[threshold] & 1) != 0;
    }
};

struct ParsedRecord {
    std::optional<Sensor> sensor;
    const char* fault = nullptr;  ///< Why a record that looked like such a sensor's is left out, or null.
};

/// Size of a record's header: id, version, type and the size of what follows.
inline constexpr std::size_t kRecordHeader = 5;

/// True when the bytes read so far (header first) may be the start of a temperature or voltage sensor's
/// record.
bool may_be_sensor(std::span<const std::uint8_t> record);

/// What may stand behind a record: a code of a sensor that is not linear, and the factors for it.
inline constexpr std::size_t kCodeWithFactors = 1 + kFactorBytes;

/// Reads one whole record, with what the controller said of single codes behind it. Neither a sensor nor a
/// fault when the record is about something else.
ParsedRecord parse_record(std::span<const std::uint8_t> record);

}  // namespace zel::bmc
