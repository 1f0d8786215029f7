// SPDX-License-Identifier: GPL-3.0-or-later
// Full sensor data records (type 01h) of temperature and voltage sensors. They come from firmware: nothing in
// them is believed before it was checked against the record's own size.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace zel::bmc {

enum class Kind : std::uint8_t { temperature = 0x01, voltage = 0x02 };

/// From a sensor's one-byte codes to what people read and back: degrees Celsius or millivolts, y = a * x + b.
class Conversion {
  public:
    enum class Format : std::uint8_t { is_unsigned = 0, ones_complement = 1, twos_complement = 2 };

    Conversion() = default;
    Conversion(Format format, double factor, double offset);

    [[nodiscard]] double exact(std::uint8_t code) const;
    /// Rounded to the nearest whole number, halves away from zero.
    [[nodiscard]] std::int64_t whole(std::uint8_t code) const;
    /// The code whose value is nearest. Nothing when that is more than half a step away: a controller would
    /// take a wrapped code for what it says.
    [[nodiscard]] std::optional<std::uint8_t> code(std::int64_t value) const;
    /// Smallest and largest value of all codes.
    [[nodiscard]] double lowest() const { return lowest_; }
    [[nodiscard]] double highest() const { return highest_; }

  private:
    Format format_ = Format::is_unsigned;
    double factor_ = 1;
    double offset_ = 0;
    double lowest_ = 0;
    double highest_ = 255;
};

/// The four thresholds that the agent knows, from the top down. IPMI's non-recoverable ones are left alone.
inline constexpr std::size_t kThresholds = 4;
/// Where they stand in IPMI's masks (as bits) and lists of codes: upper critical, upper non-critical, lower
/// non-critical, lower critical.
inline constexpr std::array<std::uint8_t, kThresholds> kThresholdBits{4, 3, 0, 1};

struct Sensor {
    Kind kind = Kind::temperature;
    std::uint8_t lun = 0;
    std::uint8_t number = 0;
    std::uint8_t entity = 0;           ///< What is measured, as IPMI numbers it.
    std::uint8_t entity_instance = 0;  ///< 1 to 127.
    std::string name;                  ///< Printable ASCII; unique once it comes out of a list of sensors.
    std::uint8_t readable = 0;         ///< Mask of the thresholds that can be read.
    std::uint8_t settable = 0;         ///< Mask of those that can be read and set.
    Conversion conversion;
    std::int64_t least = 0;     ///< Smallest value that the sensor can report, and
    std::int64_t greatest = 0;  ///< largest, rounded inward; greater than `least`.

    /// LUN and number in one: the sensor's identity.
    [[nodiscard]] std::uint16_t id() const { return static_cast<std::uint16_t>(lun << 8 | number); }
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

/// Reads one whole record. Neither a sensor nor a fault when the record is about something else.
ParsedRecord parse_record(std::span<const std::uint8_t> record);

}  // namespace zel::bmc
