// SPDX-License-Identifier: GPL-3.0-or-later
#include "sampler.h"

#include <algorithm>
#include <array>

namespace zel::watch {
namespace {

constexpr std::array kSamplers{
    SamplerRow{"cpu", "CPU", cpu_sampler},
    SamplerRow{"eventlog", "Event log", eventlog_sampler},
    SamplerRow{"filesystem", "File system", filesystem_sampler},
    SamplerRow{"lan", "LAN", lan_sampler},
    SamplerRow{"raid", "RAID", raid_sampler},
    SamplerRow{"storage", "Storage", storage_sampler},
    SamplerRow{"temperature", "Temperature", temperature_sampler},
    SamplerRow{"voltage", "Voltage", voltage_sampler},
    SamplerRow{"watchdog", "Watchdog", watchdog_sampler},
};

}  // namespace

std::span<const SamplerRow> samplers() {
    return kSamplers;
}

std::string title_of(const std::string& resource) {
    const auto* row = std::ranges::find(kSamplers, resource, &SamplerRow::resource);
    return row != kSamplers.end() ? row->title : resource;
}

}  // namespace zel::watch
