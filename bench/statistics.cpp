// SPDX-License-Identifier: GPL-3.0-or-later
#include "statistics.h"

#include <algorithm>
#include <cstdio>

namespace bench {

namespace {

double percentile(Samples samples, double part) {
    if (samples.empty()) return 0;
    std::sort(samples.begin(), samples.end());
    return samples[static_cast<std::size_t>(part * static_cast<double>(samples.size() - 1))];
}

std::string spread(const Samples& samples, const char* unit) {
    char text[96];
    std::snprintf(text, sizeof text, "%.2f %s (%.2f..%.2f)", median(samples), unit, percentile(samples, 0.1),
                  percentile(samples, 0.9));
    return text;
}

}  // namespace

double median(Samples samples) {
    return percentile(std::move(samples), 0.5);
}

void print_ratio(const std::string& what, const Samples& ours, const std::string& peer, const Samples& theirs,
                 const char* unit, double allowed) {
    const double ratio = median(ours) / median(theirs);
    std::printf("| %s | %s | %s: %s | %.2f%s | %.1f |\n", what.c_str(), spread(ours, unit).c_str(),
                peer.c_str(), spread(theirs, unit).c_str(), ratio, ratio <= allowed ? "" : " **too much**",
                allowed);
}

void print_value(const std::string& what, const Samples& samples, const char* unit) {
    std::printf("| %s | %s | | | |\n", what.c_str(), spread(samples, unit).c_str());
}

void print_note(const std::string& note) {
    std::printf("| .. %s | | | | |\n", note.c_str());
}

}  // namespace bench
