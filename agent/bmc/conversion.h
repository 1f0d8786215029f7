// SPDX-License-Identifier: GPL-3.0-or-later
// From a sensor's one-byte codes to what people read, and back.
#pragma once

#include <array>
#include <cmath>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace zel::bmc {

/// A straight line, y = factor * x + offset.
struct Line {
    double factor = 1;
    double offset = 0;
};

/// Where records, and answers about a single reading, hold their factors: M, M and tolerance, B, B and
/// accuracy, accuracy, exponents.
inline constexpr std::size_t kFactorBytes = 6;
Line line_of(std::span<const std::uint8_t, kFactorBytes> bytes);

/// To degrees Celsius or millivolts: y = a * x + b for most sensors, a function of that for some. Sensors
/// that are not linear in a way of their own have factors for each code, which the controller is asked for.
class Conversion {
  public:
    enum class Format : std::uint8_t { is_unsigned = 0, ones_complement = 1, twos_complement = 2 };

    /// As IPMI numbers them.
    enum Linearisation : std::uint8_t { kLinear = 0x00, kLastFunction = 0x0b, kFirstNonLinear = 0x70 };

    Conversion() = default;
    /// @param unit  Brings the result into degrees Celsius or millivolts.
    Conversion(Format format, Line line, std::uint8_t linearisation, Line unit);

    /// Not a number for a code that stands for no value: there is no logarithm of 0.
    [[nodiscard]] double exact(std::uint8_t code) const;
    [[nodiscard]] bool has_value(std::uint8_t code) const { return !std::isnan(exact(code)); }
    /// Rounded to the nearest whole number, halves away from zero. The code must have a value.
    [[nodiscard]] std::int64_t whole(std::uint8_t code) const { return std::llround(exact(code)); }
    /// The code whose value is nearest. Nothing when `value` is more than half a step beyond all values: a
    /// controller would take a wrapped code for what it says.
    [[nodiscard]] std::optional<std::uint8_t> code(std::int64_t value) const;
    /// Smallest and largest value of all codes; 0 and 0 when there are none, or none that a sensor could have.
    [[nodiscard]] double lowest() const { return lowest_; }
    [[nodiscard]] double highest() const { return highest_; }

    /// True when codes have values only once they were learnt.
    [[nodiscard]] bool is_non_linear() const { return linearisation_ >= kFirstNonLinear; }
    void learn(std::uint8_t code, std::span<const std::uint8_t, kFactorBytes> factors);

  private:
    [[nodiscard]] double number(std::uint8_t code) const;
    void find_ends();

    Format format_ = Format::is_unsigned;
    std::uint8_t linearisation_ = kLinear;
    Line line_;
    Line unit_;
    std::vector<std::pair<std::uint8_t, double>> learnt_;
    double lowest_ = 0;
    double highest_ = 255;
    double half_step_below_ = 0.5;  // how far below the lowest a value is still taken for it
    double half_step_above_ = 0.5;
};

}  // namespace zel::bmc
