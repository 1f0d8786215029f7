// SPDX-License-Identifier: GPL-3.0-or-later
// Load of the CPUs, from the kernel's counters, over a span.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>
#include <string_view>
#include <vector>

namespace zel::watch {

class CpuLoad {
  public:
    /// Takes the kernel's counters as /proc/stat has them. False when there is no line of all CPUs.
    /// @param rows  So many are kept: the whole machine (row 0), then CPU by CPU.
    /// @param span  Over which load is wanted; so old counters are kept, no more than 240 times.
    bool take(std::string_view stat, std::size_t rows, std::chrono::milliseconds since_boot,
              std::chrono::milliseconds span);

    /// Percent of the span, rounded down; nothing before it is over, or where a CPU is switched off.
    /// @param tolerance  A span that is shorter by so much counts as whole: looks do not come to the millisecond.
    [[nodiscard]] std::optional<int> percent(std::size_t row, std::chrono::milliseconds span,
                                             std::chrono::milliseconds tolerance) const;

  private:
    /// user, nice, system, idle, iowait, irq, softirq, steal; guests are part of user.
    using Counters = std::array<std::uint64_t, 8>;
    struct Use {
        std::uint64_t busy = 0;
        std::uint64_t all = 0;
    };
    struct Cpu {
        bool on = false;
        bool known = false;
        Counters last{};
        Use use{};  ///< Since the first look; steps backward, which some kernels make, are none.
    };
    struct Snapshot {
        std::chrono::milliseconds since_boot{};
        std::vector<Use> uses;
    };

    static std::optional<Counters> parse(std::string_view& line);
    static void advance(Cpu& cpu, const Counters& counters);

    std::vector<Cpu> cpus_;
    std::chrono::milliseconds looked_{};
    std::deque<Snapshot> snapshots_;
};

}  // namespace zel::watch
