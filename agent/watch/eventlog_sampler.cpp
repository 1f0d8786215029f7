// SPDX-License-Identifier: GPL-3.0-or-later
// What stands in logs: lines of the kernel that an administrator has to know of, and the management controller's system
// event log. Nothing of it has a level; each is told once.
//
//   agent.conf
//   [monitor]
//   journal=   folder of the system's journal; empty for the one that is in use
#include <algorithm>
#include <utility>

#include "bmc/request_limit.h"
#include "bmc/sel.h"
#include "bmc/sensor_list.h"
#include "bmc/settings.h"
#include "eventlog_lines.h"
#include "sampler.h"
#include "settings/registry_values.h"
#include "system/kernel_journal.h"
#include "zel/access_ipmi.h"

namespace zel::watch {
namespace {

constexpr std::size_t kMostRecords = 64;
constexpr std::size_t kMostEntries = 1000;
/// The object that stands for the journal itself, so that one that cannot be read is told of.
constexpr const char* kJournal = "journal";
constexpr const char* kKernel = "kernel";
constexpr const char* kController = "controller";

/// The name of the sensor that a record is about; empty when the agent knows none.
std::string sensor_of(const bmc::SelRecord& record) {
    constexpr std::uint8_t kEvent = 0x02;
    constexpr std::uint8_t kOwnSensors = 0x20;
    const auto kind = static_cast<bmc::Kind>(record[10]);
    if (record[2] != kEvent || record[7] != kOwnSensors ||
        (kind != bmc::Kind::temperature && kind != bmc::Kind::voltage))
        return {};
    const std::size_t most = kind == bmc::Kind::temperature ? TEMP_SENSORS_MAX : VOLT_SENSORS_MAX;
    const auto list = bmc::find_sensors(bmc::controller(), kind, most);
    if (!list) return {};
    const auto sensor = std::ranges::find_if(list->sensors, [&](const bmc::Sensor& one) {
        return one.lun == (record[8] & 3U) && one.number == record[11];
    });
    return sensor != list->sensors.end() ? sensor->name : "";
}

class EventlogSampler : public Sampler {
  public:
    std::vector<Reading> look(const Now& /*now*/) override {
        if (const auto settings = settings::read_record(settings::kEventlog)) settings_ = *settings;
        std::vector<Reading> readings = look_at_journal();
        const auto controller = bmc::read_settings();
        if (controller && bmc::is_present(*controller)) look_at_controller(controller->target());
        return readings;
    }

    std::vector<Entry> entries() override { return std::exchange(entries_, {}); }

    [[nodiscard]] std::chrono::seconds interval() const override {
        return std::chrono::seconds(settings_.cycle);
    }

    [[nodiscard]] Kept keep() const override {
        Kept kept{.position = position_};
        if (sel_) kept.facts.emplace(kController, target_ + ' ' + sel_->text());
        return kept;
    }

    void restore(const Kept& kept, const std::set<std::string>& told) override {
        position_ = kept.position;
        const auto fact = kept.facts.find(kController);
        const std::string known = fact != kept.facts.end() ? fact->second : "";
        const std::size_t blank = std::min(known.rfind(' '), known.size());
        target_ = known.substr(0, blank);
        sel_ = blank < known.size() ? bmc::SelPosition::from(known.substr(blank + 1)) : std::nullopt;
        told_ = told;
    }

  private:
    std::vector<Reading> look_at_journal() {
        std::int64_t lines = 0;
        const auto state = system::read_kernel_lines(
            position_, [&](std::string_view line, const system::JournalPosition& at) {
                ++lines;
                if (is_worth_telling(line)) add({kKernel, at, std::string(line)});
            });
        if (state == system::JournalState::none) return {};
        const bool read = state == system::JournalState::read;
        return {{.object = kJournal,
                 .state = read ? Reading::State::value : Reading::State::unreadable,
                 .value = lines,
                 .unit = "lines",
                 .about = "%v"}};
    }

    void look_at_controller(const std::string& target) {
        const bmc::RequestLimit limit(bmc::kLongestList);
        if (std::exchange(target_, target) != target) sel_.reset();
        const auto records = bmc::read_sel(bmc::controller(), sel_, kMostRecords);
        if (!records) return;
        for (const bmc::SelRecord& record : *records)
            add({kController, std::to_string(bmc::id_of(record)), bmc::sel_text(record, sensor_of(record))});
    }

    /// Those that were told just before the service ended are not told again.
    void add(Entry entry) {
        const bool again = told_.erase(entry.object + ' ' + entry.id) > 0;
        if (!again && entries_.size() < kMostEntries) entries_.push_back(std::move(entry));
    }

    settings::EventlogRecord settings_ = settings::default_record(settings::kEventlog);
    system::JournalPosition position_;
    std::optional<bmc::SelPosition> sel_;
    std::string target_;  ///< The controller whose log that is a position in.
    std::set<std::string> told_;
    std::vector<Entry> entries_;
};

}  // namespace

std::unique_ptr<Sampler> eventlog_sampler() {
    return std::make_unique<EventlogSampler>();
}

}  // namespace zel::watch
