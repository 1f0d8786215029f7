// SPDX-License-Identifier: GPL-3.0-or-later
// Readers of what comes from outside, each behind a function of the shape that fuzzers know.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace zel::fuzz {

struct Target {
    const char* name;
    int (*read)(const std::uint8_t* data, std::size_t size);
    std::vector<std::string> seeds;
    std::vector<std::string> words;  ///< What the reader looks for, put into inputs.
};

/// All of them. `ZelDir` names a folder to work in, empty when a target begins; each wants a process of its
/// own.
std::vector<Target> targets();

}  // namespace zel::fuzz
