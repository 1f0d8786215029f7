// SPDX-License-Identifier: GPL-3.0-or-later
#include "cpu_load.h"

#include <algorithm>
#include <charconv>
#include <system_error>

namespace zel::watch {
namespace {

constexpr int kMostSnapshots = 240;
constexpr std::size_t kIdle = 3;
constexpr std::size_t kWaiting = 4;

std::string_view take_line(std::string_view& text) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return line;
}

/// The row that a line is about: 0 for "cpu", n + 1 for "cpu<n>". Takes the name off the line.
std::optional<std::size_t> take_row(std::string_view& line) {
    constexpr std::string_view kName = "cpu";
    if (!line.starts_with(kName)) return std::nullopt;
    line.remove_prefix(kName.size());
    if (line.starts_with(' ')) return 0;
    std::uint32_t number = 0;
    const auto [stop, error] = std::from_chars(line.data(), line.data() + line.size(), number);
    if (error != std::errc{}) return std::nullopt;
    line.remove_prefix(static_cast<std::size_t>(stop - line.data()));
    return std::size_t{number} + 1;
}

}  // namespace

/// Older kernels leave the last ones out; the first four every one has.
std::optional<CpuLoad::Counters> CpuLoad::parse(std::string_view& line) {
    Counters counters{};
    std::size_t found = 0;
    for (std::uint64_t& counter : counters) {
        line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
        const auto [stop, error] = std::from_chars(line.data(), line.data() + line.size(), counter);
        if (error != std::errc{}) break;
        line.remove_prefix(static_cast<std::size_t>(stop - line.data()));
        ++found;
    }
    return found > kIdle ? std::optional(counters) : std::nullopt;
}

void CpuLoad::advance(Cpu& cpu, const Counters& counters) {
    // More than one CPU can do in a lifetime is a counter that was damaged.
    constexpr std::uint64_t kMostTicks = std::uint64_t{1} << 48U;
    for (std::size_t i = 0; cpu.known && i < counters.size(); ++i) {
        if (counters[i] <= cpu.last[i]) continue;
        const std::uint64_t step = counters[i] - cpu.last[i];
        if (step > kMostTicks) continue;
        cpu.use.all += step;
        if (i != kIdle && i != kWaiting) cpu.use.busy += step;
    }
    cpu.last = counters;
    cpu.known = true;
    cpu.on = true;
}

bool CpuLoad::take(std::string_view stat, std::size_t rows, std::chrono::milliseconds since_boot,
                   std::chrono::milliseconds span) {
    cpus_.resize(rows);
    for (Cpu& cpu : cpus_)
        cpu.on = false;
    while (!stat.empty()) {
        std::string_view line = take_line(stat);
        const auto row = take_row(line);
        if (!row || *row >= rows) continue;
        if (const auto counters = parse(line)) advance(cpus_[*row], *counters);
    }
    looked_ = since_boot;
    if (cpus_.empty() || !cpus_.front().on) return false;
    if (!snapshots_.empty() && since_boot - snapshots_.back().since_boot < span / kMostSnapshots) return true;
    std::vector<Use> uses;
    uses.reserve(rows);
    for (const Cpu& cpu : cpus_)
        uses.push_back(cpu.use);
    snapshots_.push_back({since_boot, std::move(uses)});
    // The second oldest is old enough: the oldest is of no more use.
    while (snapshots_.size() > 2 && since_boot - snapshots_[1].since_boot > span)
        snapshots_.pop_front();
    while (snapshots_.size() > kMostSnapshots + 2)
        snapshots_.pop_front();
    return true;
}

std::optional<int> CpuLoad::percent(std::size_t row, std::chrono::milliseconds span,
                                    std::chrono::milliseconds tolerance) const {
    if (row >= cpus_.size() || !cpus_[row].on) return std::nullopt;
    const auto then = std::find_if(snapshots_.rbegin(), snapshots_.rend(), [&](const Snapshot& one) {
        return looked_ - one.since_boot >= span - tolerance;
    });
    if (then == snapshots_.rend() || row >= then->uses.size()) return std::nullopt;
    const Use& now = cpus_[row].use;
    const Use& before = then->uses[row];
    const std::uint64_t all = now.all - before.all;
    if (all == 0) return std::nullopt;
    return static_cast<int>((now.busy - before.busy) * 100 / all);
}

}  // namespace zel::watch
