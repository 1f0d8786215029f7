// SPDX-License-Identifier: GPL-3.0-or-later
// Network interfaces: errors among their packets.
//
//   agent.conf
//   [monitor]
//   sys_net=/sys/class/net   interfaces; those with a `device` are watched
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <map>
#include <string_view>

#include "base/file_io.h"
#include "sampler.h"
#include "settings/registry_values.h"
#include "store/agent_config.h"

namespace zel::watch {
namespace {

constexpr std::uint64_t kFewPackets = 100;  // of fewer, one would be a percent and more
constexpr int kCalmIntervals = 3;
constexpr std::size_t kMostInterfaces = 256;

/// One of the settings' three thresholds, and the kernel's counters that it is about.
struct Kind {
    const char* name;
    const char* about;
    std::int32_t LanSettingsRecord::*threshold;
    std::array<const char*, 6> counters;
};
constexpr std::array kKinds{
    Kind{"hardware",
         "hardware errors in %v of the packets",
         &LanSettingsRecord::hardware,
         {"rx_crc_errors", "rx_frame_errors", "rx_length_errors", "rx_fifo_errors", "tx_fifo_errors",
          "tx_carrier_errors"}},
    Kind{"retry", "collisions in %v of the packets", &LanSettingsRecord::retry, {"collisions"}},
    Kind{"abort", "%v of the packets aborted", &LanSettingsRecord::abort_, {"tx_aborted_errors"}},
};

struct Counters {
    std::uint64_t packets = 0;
    std::array<std::uint64_t, kKinds.size()> errors{};
};

/// Adds a counter to `sum`; false when it cannot be read.
bool add(const std::string& path, std::uint64_t& sum) {
    const auto file = base::open_regular(path);
    std::string text;
    if (!file || !base::read_at_most(file.get(), 64, text, 64)) return false;
    std::uint64_t number = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    sum += number;
    return error == std::errc{} && stop != text.data();
}

std::optional<Counters> read_counters(const std::string& interface) {
    const std::string folder = interface + "/statistics/";
    Counters counters;
    bool read = add(folder + "rx_packets", counters.packets) && add(folder + "tx_packets", counters.packets);
    for (std::size_t kind = 0; kind < kKinds.size(); ++kind) {
        for (const char* name : kKinds.at(kind).counters)
            read = read && (name == nullptr || add(folder + name, counters.errors.at(kind)));
    }
    return read ? std::optional(counters) : std::nullopt;
}

/// Percent, rounded up so that any part of one above a threshold counts. Nothing when too little happened, or
/// counters went back: a driver began them again.
std::optional<int> percent_of(const Counters& before, const Counters& now, std::size_t kind) {
    const std::uint64_t errors = now.errors.at(kind) - before.errors.at(kind);
    const std::uint64_t packets = now.packets - before.packets;
    const bool back = now.packets < before.packets || now.errors.at(kind) < before.errors.at(kind);
    if (back || packets < kFewPackets) return std::nullopt;
    if (errors >= packets) return 100;
    return static_cast<int>((static_cast<long double>(errors) * 100 + packets - 1) / packets);
}

class LanSampler : public Sampler {
  public:
    std::vector<Reading> look(const Now& /*now*/) override {
        if (const auto settings = settings::read_record(settings::kLan)) settings_ = *settings;
        const std::string folder = store::configured("monitor", "sys_net", "/sys/class/net");
        const std::string below = folder + '/';
        std::map<std::string, std::optional<Counters>> now;
        std::vector<Reading> readings;
        for (const std::string& name : interfaces(folder)) {
            const auto& counters = now[name] = read_counters(below + name);
            for (std::size_t kind = 0; kind < kKinds.size(); ++kind)
                readings.push_back(reading(name, kind, counters));
        }
        before_ = std::move(now);
        return readings;
    }

    [[nodiscard]] std::chrono::seconds interval() const override {
        return std::chrono::seconds(settings_.interval);
    }

  private:
    /// Those of the machine's hardware, in order.
    static std::vector<std::string> interfaces(const std::string& folder) {
        auto names = base::names_in(folder).value_or(std::vector<std::string>());
        std::erase_if(names, [&](const std::string& name) {
            struct stat info {};
            return ::stat((folder + '/' + name + "/device").c_str(), &info) != 0;
        });
        std::ranges::sort(names);
        if (names.size() > kMostInterfaces) names.resize(kMostInterfaces);
        return names;
    }

    Reading reading(const std::string& name, std::size_t kind, const std::optional<Counters>& now) const {
        const Kind& one = kKinds.at(kind);
        const std::int64_t threshold = settings_.*one.threshold;
        Reading reading{
            .object = name,
            .kind = one.name,
            .state = now ? Reading::State::nothing : Reading::State::unreadable,
            .unit = "percent",
            .about = one.about,
            .limits = {.warning = Bounds{threshold, threshold}, .strict = true, .calm = kCalmIntervals}};
        const auto before = before_.find(name);
        if (!now || before == before_.end() || !before->second) return reading;
        if (const auto percent = percent_of(*before->second, *now, kind)) {
            reading.state = Reading::State::value;
            reading.value = *percent;
        }
        return reading;
    }

    LanSettingsRecord settings_ = settings::default_record(settings::kLan);
    std::map<std::string, std::optional<Counters>> before_;
};

}  // namespace

std::unique_ptr<Sampler> lan_sampler() {
    return std::make_unique<LanSampler>();
}

}  // namespace zel::watch
