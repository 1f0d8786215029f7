// SPDX-License-Identifier: GPL-3.0-or-later
// What one setting may be, and tables of the settings that a record holds.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace zel::settings {

/// What kind of number a setting is.
enum class Type {
    number,
    flag,     ///< 0 or 1.
    actions,  ///< The timer-actions byte of an IPMI watchdog timer.
};

/// What a number counts.
enum class Unit { none, seconds, percent, mebibytes, degrees, millivolts };

inline constexpr std::uint32_t kInterruptBefore = 0x20;  ///< The time-out begins with a diagnostic interrupt.
inline constexpr std::uint32_t kAfterMask = 0x03;  ///< Then: 0 nothing, 1 reset, 2 power off, 3 power cycle.
inline constexpr std::uint32_t kResetAfter = 1;

/// The two settings that the byte of actions holds: their words on command lines, and those of what they may be, by the
/// bits of the mask.
struct ActionPart {
    const char* words;
    std::uint32_t mask;
    std::array<const char*, 4> choices;
    std::size_t count;
    const char* meaning;

    [[nodiscard]] constexpr const char* choice_of(std::uint32_t code) const {
        return choices.at((code & mask) >> static_cast<unsigned>(std::countr_zero(mask)));
    }
    [[nodiscard]] constexpr std::uint32_t bits_of(std::size_t choice) const {
        return static_cast<std::uint32_t>(choice) << static_cast<unsigned>(std::countr_zero(mask));
    }
};
inline constexpr std::array kActionParts{
    ActionPart{"when", kInterruptBefore, {"none", "nmi"}, 2, "what happens before the time is over"},
    ActionPart{"after",
               kAfterMask,
               {"none", "hard-reset", "power-off", "power-cycle"},
               4,
               "what happens when the time is over"},
};

/// One setting that is a number: its name where it is kept, its words on command lines, its range, and what it is
/// while nobody has set it, or an invalid one is kept.
struct Value {
    const char* name;
    const char* words;
    Type type;
    std::uint32_t least;
    std::uint32_t greatest;
    std::uint32_t fallback;
    Unit unit = Unit::none;
    const char* meaning = "";  ///< For who chooses one: a few words.

    /// A negative number of a caller's, converted, is above every range.
    [[nodiscard]] constexpr bool allows(std::uint64_t number) const {
        const bool fits =
            type != Type::actions || (number & ~std::uint64_t{kInterruptBefore | kAfterMask}) == 0;
        return number >= least && number <= greatest && fits;
    }
};

constexpr Value number(const char* name, const char* words, std::uint32_t least, std::uint32_t greatest,
                       std::uint32_t fallback, Unit unit = Unit::none, const char* meaning = "") {
    return {name, words, Type::number, least, greatest, fallback, unit, meaning};
}
constexpr Value flag(const char* name, const char* words, bool fallback, const char* meaning = "") {
    return {name, words, Type::flag, 0, 1, fallback, Unit::none, meaning};
}
/// @param words  None: its two parts have theirs (kWhen, kAfter).
constexpr Value actions(const char* name, std::uint32_t fallback) {
    return {name, "", Type::actions, 0, kInterruptBefore | kAfterMask, fallback};
}
/// A number that has every value of its type.
constexpr Value any_number(const char* name) {
    return number(name, "", 0, std::numeric_limits<std::uint32_t>::max(), 0);
}

/// A setting and the field of the record that holds it.
template <class Holder, class Word>
struct Field {
    Value value;
    Word Holder::*member;
};
template <class Holder, class Word>
Field(Value, Word Holder::*) -> Field<Holder, Word>;  // Clang 14 deduces nothing for aggregates by itself

/// The settings of a record, and the key of the registry under which they are kept.
template <class Holder, class Word, std::size_t count>
struct Table {
    using Record = Holder;
    const char* key;
    const char* words;  ///< What the words of its settings begin with on command lines.
    std::array<Field<Holder, Word>, count> fields;
};
template <class Holder, class Word, std::size_t count>
Table(const char*, const char*, std::array<Field<Holder, Word>, count>) -> Table<Holder, Word, count>;

}  // namespace zel::settings
