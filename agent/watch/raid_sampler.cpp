// SPDX-License-Identifier: GPL-3.0-or-later
// RAID: the kernel's own arrays (md), and those of controllers that tell the kernel about theirs (raid_class).
//
//   agent.conf
//   [monitor]
//   sys_block=/sys/block                  arrays of the kernel have a folder `md`
//   raid_devices=/sys/class/raid_devices  those of controllers
#include <algorithm>
#include <array>
#include <string_view>

#include "base/file_io.h"
#include "sampler.h"
#include "settings/raid_settings.h"
#include "settings/values.h"
#include "store/agent_config.h"
#include "system/attribute.h"

namespace zel::watch {
namespace {

constexpr std::size_t kMostArrays = 1024;

using system::attribute;

/// A number of disks; 0 for one that no array has.
int disks_in(const std::string& path) {
    const auto number = system::attribute_number(path);
    return number && *number <= 4096 ? static_cast<int>(*number) : 0;
}

std::vector<std::string> names_in(const std::string& folder) {
    auto names = base::names_in(folder).value_or(std::vector<std::string>());
    std::ranges::sort(names);
    if (names.size() > kMostArrays) names.resize(kMostArrays);
    return names;
}

/// The number beside a name; nothing for one that is not in the table.
template <std::size_t kRows>
std::optional<int> number_beside(const std::array<std::pair<std::string_view, int>, kRows>& table,
                                 std::string_view name) {
    const auto* const row = std::ranges::find(table, name, &std::pair<std::string_view, int>::first);
    return row != table.end() ? std::optional(row->second) : std::nullopt;
}

/// How many of its disks an array can lose without losing what is on it.
int spare_disks(std::string_view level, int disks) {
    using Row = std::pair<std::string_view, int>;
    constexpr std::array kLevels{Row{"raid4", 1}, Row{"raid5", 1}, Row{"raid6", 2}};
    // Of a mirror all but one; of a striped one as many may be too many, which its state tells.
    const bool mirror = level == "raid1" || level == "raid10";
    return mirror ? std::max(disks - 1, 0) : number_beside(kLevels, level).value_or(0);
}

/// Missing disks: one is a warning, more than can be spared are fatal.
Limits limits_of(int spare) {
    return {.fatal = Bounds{spare + 1, spare}, .warning = Bounds{1, 0}};
}

/// One of the kernel's arrays; nothing for what is none.
std::optional<Reading> md_reading(const std::string& name, const std::string& folder) {
    const auto state = attribute(folder + "array_state");
    if (!state || *state == "clear") return std::nullopt;
    const int disks = disks_in(folder + "raid_disks");
    const int spare = spare_disks(attribute(folder + "level").value_or(""), disks);
    const bool failed = *state == "broken" || *state == "inactive";
    const int missing = disks_in(folder + "degraded");
    const std::string action = attribute(folder + "sync_action").value_or("idle");
    return Reading{.object = name,
                   .state = Reading::State::value,
                   .value = failed ? std::max(missing, spare + 1) : missing,
                   .unit = "",
                   .about = (failed ? *state : "%v of " + std::to_string(disks) + " disks missing") +
                            (action == "idle" ? "" : ", " + action),
                   .limits = limits_of(spare)};
}

/// One of a controller's; nothing for one of unknown state.
std::optional<Reading> controller_reading(const std::string& name, const std::string& folder) {
    using Row = std::pair<std::string_view, int>;
    constexpr std::array kStates{Row{"active", 0}, Row{"taking-io", 0}, Row{"resyncing", 1},
                                 Row{"degraded", 1}, Row{"offline", 2}};
    const auto state = attribute(folder + "state");
    const auto value = number_beside(kStates, state.value_or(""));
    if (!value) return std::nullopt;
    return Reading{.object = name,
                   .state = Reading::State::value,
                   .value = *value,
                   .unit = "",
                   .about = *state,
                   .limits = limits_of(1)};
}

class RaidSampler : public Sampler {
  public:
    std::vector<Reading> look(const Now& /*now*/) override {
        settings::read_raid(interval_);
        std::vector<Reading> readings;
        const std::string blocks = store::configured("monitor", "sys_block", "/sys/block") + '/';
        add(readings, blocks, "/md/", md_reading);
        const std::string devices =
            store::configured("monitor", "raid_devices", "/sys/class/raid_devices") + '/';
        add(readings, devices, "/", controller_reading);
        return readings;
    }

    [[nodiscard]] std::chrono::seconds interval() const override { return std::chrono::seconds(interval_); }

  private:
    template <class Read>
    static void add(std::vector<Reading>& readings, const std::string& folder, const char* below, Read read) {
        for (const std::string& name : names_in(folder)) {
            if (auto reading = read(name, folder + name + below)) readings.push_back(*std::move(reading));
        }
    }

    int interval_ = static_cast<int>(settings::kRaidInterval.fallback);
};

}  // namespace

std::unique_ptr<Sampler> raid_sampler() {
    return std::make_unique<RaidSampler>();
}

}  // namespace zel::watch
