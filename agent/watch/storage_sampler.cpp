// SPDX-License-Identifier: GPL-3.0-or-later
// Errors of disks: counted from what the kernel says of them, and from what its arrays mended (md), since an administrator
// began anew with the disk. The kernel holds back lines when there are many, so there are at least as many errors as
// counted.
//
//   agent.conf
//   [monitor]
//   journal=              folder of the system's journal; empty for the one that is in use
//   sys_block=/sys/block  the disks, and the arrays' folders `md`
#include <algorithm>
#include <array>
#include <charconv>
#include <map>

#include "sampler.h"
#include "settings/storage_settings.h"
#include "settings/values.h"
#include "storage_lines.h"
#include "system/disks.h"
#include "system/kernel_journal.h"
#include "system/md_arrays.h"

namespace zel::watch {
namespace {

/// Disks are remembered while they are away, no more of them than may be there at once.
constexpr std::size_t kMostKnown = 4096;
constexpr std::string_view kCountFact = "count ";
constexpr std::string_view kArrayFact = "md ";

constexpr std::array<const char*, STORAGE_ERROR_KINDS> kAbout{
    "recoverable errors at least %v", "non-recoverable errors at least %v", "medium errors at least %v",
    "hardware errors at least %v"};

using Counts = std::array<std::uint64_t, STORAGE_ERROR_KINDS>;

bool is_zero(const Counts& counts) {
    return std::ranges::all_of(counts, [](std::uint64_t count) { return count == 0; });
}

std::string text_of(const Counts& counts) {
    std::string text;
    for (const std::uint64_t count : counts)
        text.append(text.empty() ? "" : " ").append(std::to_string(count));
    return text;
}

/// Numbers with blanks between them; what is missing or damaged is 0.
Counts counts_of(std::string_view text) {
    Counts counts{};
    for (std::uint64_t& count : counts) {
        const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), count);
        if (error != std::errc{}) break;
        text.remove_prefix(static_cast<std::size_t>(stop - text.data()));
        text.remove_prefix(std::min<std::size_t>(text.size(), 1));
    }
    return counts;
}

Limits limits_of(const StorageThresholdItem& item) {
    // No errors are none, whatever the threshold.
    const auto bounds = [](int threshold) {
        const std::int64_t at = std::max(threshold, 1);
        return Bounds{at, at};
    };
    return {.fatal = bounds(item.fatal), .warning = bounds(item.warning), .latched = true};
}

class StorageSampler : public Sampler {
  public:
    std::vector<Reading> look(const Now& /*now*/) override {
        settings::read_storage(settings_);
        if (auto disks = system::find_disks()) disks_ = *std::move(disks);
        const auto journal =
            system::read_kernel_lines(position_, [&](std::string_view line, const system::JournalPosition&) {
                if (const auto error = storage_error(line, disks_)) count(*error->disk, error->kind, 1);
            });
        count_arrays();
        return readings(journal == system::JournalState::read ? Reading::State::value
                                                              : Reading::State::nothing);
    }

    [[nodiscard]] std::chrono::seconds interval() const override {
        return std::chrono::seconds(settings_.interval);
    }

    void start_again(const std::string& object) override {
        const auto disk = std::ranges::find(disks_, object, &system::Disk::name);
        if (disk != disks_.end()) counts_.erase(disk->identity);
    }

    [[nodiscard]] Kept keep() const override {
        Kept kept{.position = position_};
        for (const auto& [identity, counts] : counts_)
            kept.facts.emplace(std::string(kCountFact) + identity, text_of(counts));
        for (const auto& [member, errors] : arrays_)
            kept.facts.emplace(std::string(kArrayFact) + member, std::to_string(errors));
        return kept;
    }

    void restore(const Kept& kept, const std::set<std::string>& /*told*/) override {
        position_ = kept.position;
        for (const auto& [name, text] : kept.facts) {
            const Counts counts = counts_of(text);
            if (name.starts_with(kCountFact) && !is_zero(counts))
                counts_[name.substr(kCountFact.size())] = counts;
            if (name.starts_with(kArrayFact)) arrays_[name.substr(kArrayFact.size())] = counts.front();
        }
    }

  private:
    void count(const system::Disk& disk, StorageKind kind, std::uint64_t errors) {
        if (errors == 0 || (counts_.size() >= kMostKnown && !counts_.contains(disk.identity))) return;
        counts_[disk.identity].at(static_cast<std::size_t>(kind)) += errors;
    }

    /// Errors that an array found by reading and mended from another disk. They begin at 0 when it is put together.
    void count_arrays() {
        std::map<std::string, std::uint64_t> now;
        for (const system::MdMember& member : system::md_members()) {
            const std::string name = member.array + '/' + member.name;
            now[name] = member.errors;
            const auto before = arrays_.find(name);
            const system::Disk* const disk = disk_of(member.name, disks_);
            if (before == arrays_.end() || disk == nullptr) continue;
            const bool begun_anew = member.errors < before->second;
            count(*disk, StorageKind::recoverable, member.errors - (begun_anew ? 0 : before->second));
        }
        arrays_ = std::move(now);
    }

    [[nodiscard]] std::vector<Reading> readings(Reading::State state) const {
        static const Counts kNone{};
        static const settings::StorageItems kDefaults = settings::storage_defaults();
        std::vector<Reading> readings;
        for (const system::Disk& disk : disks_) {
            const auto counted = counts_.find(disk.identity);
            const auto saved = settings_.devices.find(disk.name);
            const Counts& counts = counted != counts_.end() ? counted->second : kNone;
            const auto& items = saved != settings_.devices.end() ? saved->second : kDefaults;
            for (std::size_t kind = 0; kind < items.size(); ++kind) {
                if (items.at(kind).state != STORAGE_STATE_ON) continue;
                readings.push_back({.object = disk.name,
                                    .kind = settings::kStorageKinds.at(kind).name,
                                    .state = state,
                                    .value = static_cast<std::int64_t>(counts.at(kind)),
                                    .about = kAbout.at(kind),
                                    .limits = limits_of(items.at(kind))});
            }
        }
        return readings;
    }

    settings::StorageSettings settings_{.interval = static_cast<int>(settings::kInterval.fallback),
                                        .devices = {}};
    std::vector<system::Disk> disks_;
    system::JournalPosition position_;
    std::map<std::string, Counts> counts_;         ///< Since their administrator began anew, by identity.
    std::map<std::string, std::uint64_t> arrays_;  ///< What md had counted at the last look.
};

}  // namespace

std::unique_ptr<Sampler> storage_sampler() {
    return std::make_unique<StorageSampler>();
}

}  // namespace zel::watch
