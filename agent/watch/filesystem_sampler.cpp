// SPDX-License-Identifier: GPL-3.0-or-later
// File systems: how full they are.
#include <algorithm>

#include "sampler.h"
#include "settings/filesystem_settings.h"
#include "system/mount_probe.h"
#include "system/mounts.h"

namespace zel::watch {
namespace {

Limits limits_of(const settings::FsLevels& levels, bool falling) {
    return {
        .fatal = Bounds{levels[0], levels[1]}, .warning = Bounds{levels[2], levels[3]}, .falling = falling};
}

/// Percent in use as df gives it: of what others than root may use, rounded up.
std::optional<std::int64_t> percent_of(const system::Space& space) {
    const std::uint64_t all = space.used + space.available;
    if (all == 0) return std::nullopt;
    return static_cast<std::int64_t>((static_cast<long double>(space.used) * 100 + all - 1) / all);
}

class FilesystemSampler : public Sampler {
  public:
    std::vector<Reading> look(const Now& /*now*/) override {
        read_settings();
        const auto mounts = system::read_mounts();
        std::vector<Reading> readings;
        std::vector<system::Mount> asked;
        for (const auto& [path, settings] : settings_.filesystems) {
            if (settings.mode == FS_MODE_OFF) continue;
            const auto mount = mounts ? find(*mounts, path) : std::nullopt;
            if (mounts && !mount) continue;
            if (mount) asked.push_back(*mount);
            readings.push_back(unread(path, settings));
        }
        for (const system::Mount& mount : system::ask_mounts(asked)) {
            const auto reading = std::ranges::find(readings, mount.path, &Reading::object);
            if (mount.space && reading != readings.end()) fill(*reading, *mount.space);
        }
        return readings;
    }

    [[nodiscard]] std::chrono::seconds interval() const override {
        return std::chrono::seconds(settings_.interval);
    }

  private:
    void read_settings() {
        settings::FilesystemSettings settings;
        const auto sizes_unknown = [](const system::SavedPaths&) { return settings::FsSizes(); };
        if (settings::is_readable(settings::read_filesystems(settings, sizes_unknown)))
            settings_ = std::move(settings);
    }

    static std::optional<system::Mount> find(const std::vector<system::Mount>& mounts,
                                             const std::string& path) {
        const auto last = std::ranges::find(mounts.rbegin(), mounts.rend(), path, &system::Mount::path);
        return last != mounts.rend() ? std::optional(*last) : std::nullopt;
    }

    static Reading unread(const std::string& path, const settings::FsSettings& settings) {
        const bool by_space = settings.mode == FS_MODE_SPACE;
        return {.object = path,
                .state = Reading::State::unreadable,
                .unit = by_space ? "MiB" : "percent",
                .about = by_space ? "%v free" : "%v in use",
                .limits = limits_of(by_space ? settings.space : settings.percent, by_space)};
    }

    static void fill(Reading& reading, const system::Space& space) {
        const auto value = reading.limits.falling
                               ? std::optional(static_cast<std::int64_t>(space.available >> 20U))
                               : percent_of(space);
        reading.state = value ? Reading::State::value : Reading::State::nothing;
        reading.value = value.value_or(0);
    }

    settings::FilesystemSettings settings_{.interval = static_cast<int>(settings::kInterval.fallback),
                                           .filesystems = {}};
};

}  // namespace

std::unique_ptr<Sampler> filesystem_sampler() {
    return std::make_unique<FilesystemSampler>();
}

}  // namespace zel::watch
