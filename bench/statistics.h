// SPDX-License-Identifier: GPL-3.0-or-later
// Medians, and ratios of two things measured side by side.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace bench {

using Samples = std::vector<double>;

double median(Samples samples);

/// Milliseconds that `run` takes.
template <class Run>
double milliseconds(Run&& run) {
    const auto start = std::chrono::steady_clock::now();
    run();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

// What follows prints rows of a table: measure, ours, peer, ratio, ratio allowed.

/// One row: what was measured, both medians with their spread (10th to 90th percentile), and their ratio
/// beside the ratio allowed.
void print_ratio(const std::string& what, const Samples& ours, const std::string& peer, const Samples& theirs,
                 const char* unit, double allowed);

/// One row about one thing.
void print_value(const std::string& what, const Samples& samples, const char* unit);

/// A remark on the row before.
void print_note(const std::string& note);

}  // namespace bench
