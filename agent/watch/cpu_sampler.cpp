// SPDX-License-Identifier: GPL-3.0-or-later
// CPU load.
//
//   agent.conf
//   [monitor]
//   proc_stat=/proc/stat   the kernel's counters
#include <fcntl.h>

#include "base/file_io.h"
#include "cpu_load.h"
#include "sampler.h"
#include "settings/registry_values.h"
#include "store/agent_config.h"
#include "system/cpu_count.h"

namespace zel::watch {
namespace {

Limits limits_of(const CpuThresholdRow& row) {
    return {.fatal = Bounds{row.fatalReport, row.fatalReset},
            .warning = Bounds{row.warningReport, row.warningReset}};
}

class CpuSampler : public Sampler {
  public:
    std::vector<Reading> look(const Now& now) override {
        read_settings();
        const std::chrono::seconds span(cycle_.cycleSeconds);
        const bool read = read_counters(now, span);
        std::vector<Reading> readings;
        for (std::size_t row = 0; row < rows_.size(); ++row) {
            if (rows_[row].enable == 0) continue;
            Reading& reading = readings.emplace_back();
            reading.object = row == 0 ? "TOTAL" : std::to_string(row);
            reading.unit = "percent";
            reading.about = "load %v over " + std::to_string(cycle_.cycleSeconds) + " s";
            reading.limits = limits_of(rows_[row]);
            if (!read) reading.state = Reading::State::unreadable;
            // Looks that come further apart than the span stand for it.
            if (const auto percent = load_.percent(row, span, std::chrono::milliseconds(interval()) / 2)) {
                reading.state = read ? Reading::State::value : reading.state;
                reading.value = *percent;
            }
        }
        return readings;
    }

    [[nodiscard]] std::chrono::seconds interval() const override {
        return std::chrono::seconds(cycle_.samplingInterval);
    }

  private:
    void read_settings() {
        const store::registry::Pinned pinned;
        const auto cycle = settings::read_record(settings::kCpuCycle);
        if (!cycle) return;
        cycle_ = *cycle;
        rows_.clear();
        const int cpus = system::count_cpus();
        for (int row = 0; row <= cpus; ++row)
            rows_.push_back(settings::read_cpu_row(row));
    }

    bool read_counters(const Now& now, std::chrono::milliseconds span) {
        constexpr std::size_t kMost = std::size_t{4} << 20U;
        const auto file = base::open_regular(store::configured("monitor", "proc_stat", "/proc/stat"));
        std::string stat;
        return file && base::read_at_most(file.get(), kMost, stat, 16'384) &&
               load_.take(stat, rows_to_keep(), now.since_boot, span);
    }

    /// Single CPUs cost memory on a machine of hundreds.
    [[nodiscard]] std::size_t rows_to_keep() const {
        std::size_t rows = rows_.size();
        while (rows > 1 && rows_[rows - 1].enable == 0)
            --rows;
        return rows;
    }

    CpuCycleRecord cycle_ = settings::default_record(settings::kCpuCycle);
    std::vector<CpuThresholdRow> rows_;
    CpuLoad load_;
};

}  // namespace

std::unique_ptr<Sampler> cpu_sampler() {
    return std::make_unique<CpuSampler>();
}

}  // namespace zel::watch
