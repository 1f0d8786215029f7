// SPDX-License-Identifier: GPL-3.0-or-later
#include "conversion.h"

#include <algorithm>
#include <limits>

namespace zel::bmc {
namespace {

constexpr double kNoValue = std::numeric_limits<double>::quiet_NaN();
// Sixteen thousand degrees or volts: no real sensor comes near, every value fits 32 bits, and none is taken
// for the mark of a missing threshold.
constexpr double kLargestValue = 16'000'000;
// Far below any sensor's step: what the arithmetic of exponents may be off.
constexpr double kTolerance = 1e-6;
// What remains of two equal numbers, one taken from the other.
constexpr double kNothing = 1e-12;
constexpr int kCodes = 256;

/// A number of `bits` bits in two's complement.
int signed_number(unsigned bits, unsigned value) {
    const unsigned sign = 1U << (bits - 1);
    return static_cast<int>((value ^ sign) & (2 * sign - 1)) - static_cast<int>(sign);
}

/// IPMI's functions, the last one as FreeIPMI and OpenIPMI understand it. Computed here, for FreeIPMI's call
/// takes a code and the record's numbers: finding a value's code would raise ten to its exponents 256 times.
double linearise(std::uint8_t function, double x) {
    switch (function) {
        case 0x00:
            return x;
        case 0x01:
            return std::log(x);
        case 0x02:
            return std::log10(x);
        case 0x03:
            return std::log2(x);
        case 0x04:
            return std::exp(x);
        case 0x05:
            return std::pow(10, x);
        case 0x06:
            return std::exp2(x);
        case 0x07:
            return 1 / x;
        case 0x08:
            return x * x;
        case 0x09:
            return x * x * x;
        case 0x0a:
            return std::sqrt(x);
        case 0x0b:
            return 1 / (x * x * x);
        default:
            return kNoValue;
    }
}

/// Infinities and what no sensor measures become no value.
double checked(double value) {
    return std::abs(value) <= kLargestValue ? value : kNoValue;
}

}  // namespace

Line line_of(std::span<const std::uint8_t, kFactorBytes> bytes) {
    const int factor = signed_number(10, bytes[0] | (bytes[1] & 0xc0U) << 2);
    const int offset = signed_number(10, bytes[2] | (bytes[3] & 0xc0U) << 2);
    const double result_scale = std::pow(10, signed_number(4, bytes[5] >> 4));
    const double offset_scale = std::pow(10, signed_number(4, bytes[5] & 0x0fU));
    return {factor * result_scale, offset * offset_scale * result_scale};
}

Conversion::Conversion(Format format, Line line, std::uint8_t linearisation, Line unit)
    : format_(format), linearisation_(linearisation), line_(line), unit_(unit) {
    if (linearisation == kLinear) {
        line_ = {line.factor * unit.factor, line.offset * unit.factor + unit.offset};
        unit_ = {};
    }
    find_ends();
}

double Conversion::number(std::uint8_t code) const {
    int number = code;
    if (format_ == Format::twos_complement && code >= 0x80) number -= 256;
    if (format_ == Format::ones_complement && code >= 0x80) number -= 255;
    return number;
}

double Conversion::exact(std::uint8_t code) const {
    if (linearisation_ == kLinear) return checked(line_.factor * number(code) + line_.offset);
    if (is_non_linear()) {
        const auto known = std::ranges::find(learnt_, code, &std::pair<std::uint8_t, double>::first);
        return known == learnt_.end() ? kNoValue : known->second;
    }
    double x = line_.factor * number(code) + line_.offset;
    if (std::abs(x) < kNothing * std::abs(line_.offset)) x = 0;
    const double value = linearise(linearisation_, x);
    return checked(value * unit_.factor + unit_.offset);
}

/// The lowest and the highest value, and the steps next to them.
void Conversion::find_ends() {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    lowest_ = highest_ = 0;
    if (linearisation_ == kLinear) {  // nearly all sensors: two codes say it
        const bool is_signed = format_ != Format::is_unsigned;
        const auto [low, high] =
            std::minmax({exact(is_signed ? 0x80 : 0x00), exact(is_signed ? 0x7f : 0xff)});
        if (std::isnan(low + high)) return;
        lowest_ = low;
        highest_ = high;
        half_step_below_ = half_step_above_ = std::abs(line_.factor) / 2;
        return;
    }
    lowest_ = kInfinity;
    highest_ = -kInfinity;
    double second_lowest = kInfinity;
    double second_highest = -kInfinity;
    for (int code = 0; code < kCodes; ++code) {
        const double value = exact(static_cast<std::uint8_t>(code));
        if (value < lowest_) second_lowest = std::exchange(lowest_, value);
        if (value > lowest_) second_lowest = std::min(second_lowest, value);
        if (value > highest_) second_highest = std::exchange(highest_, value);
        if (value < highest_) second_highest = std::max(second_highest, value);
    }
    if (lowest_ >= highest_) {
        lowest_ = highest_ = 0;
        return;
    }
    half_step_below_ = (second_lowest - lowest_) / 2;
    half_step_above_ = (highest_ - second_highest) / 2;
}

void Conversion::learn(std::uint8_t code, std::span<const std::uint8_t, kFactorBytes> factors) {
    const Line line = line_of(factors);
    const double value = line.factor * number(code) + line.offset;
    learnt_.emplace_back(code, checked(value * unit_.factor + unit_.offset));
}

std::optional<std::uint8_t> Conversion::code(std::int64_t value) const {
    const auto wanted = static_cast<double>(value);
    if (lowest_ >= highest_ || wanted < lowest_ - half_step_below_ * (1 + kTolerance) ||
        wanted > highest_ + half_step_above_ * (1 + kTolerance))
        return std::nullopt;
    double least = std::numeric_limits<double>::infinity();
    std::uint8_t best = 0;
    for (int code = 0; code < kCodes; ++code) {
        const double distance = std::abs(exact(static_cast<std::uint8_t>(code)) - wanted);
        if (!(distance < least)) continue;
        least = distance;
        best = static_cast<std::uint8_t>(code);
    }
    return best;
}

}  // namespace zel::bmc
