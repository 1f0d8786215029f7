// SPDX-License-Identifier: GPL-3.0-or-later
// Two writers of one file: what a caller left as it was handed out stays as somebody else has changed it since.
#pragma once

#include <cstdint>

#include "value.h"

namespace zel::settings {

/// What is to be kept of a value: the caller's, where it is another than was handed out, else the one held now.
template <class Word>
constexpr Word merge(Word wanted, Word before, Word held) {
    return wanted == before ? held : wanted;
}

/// The same for a number of the value tables. Two settings share the byte of actions.
constexpr std::uint64_t merge(const Value& value, std::uint64_t wanted, std::uint64_t before,
                              std::uint64_t held) {
    const bool shared = value.type == Type::actions && value.allows(wanted) && value.allows(before);
    if (!shared) return merge(wanted, before, held);
    const auto part = [&](std::uint64_t mask) { return merge(wanted & mask, before & mask, held & mask); };
    return part(kInterruptBefore) | part(kAfterMask);
}

}  // namespace zel::settings
