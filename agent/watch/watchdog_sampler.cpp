// SPDX-License-Identifier: GPL-3.0-or-later
// The watchdog timer, as its feeder tells of it. The feeder asks for nothing and waits for nobody; so it is looked at.
#include <algorithm>
#include <charconv>
#include <utility>

#include "sampler.h"
#include "watchdog/page.h"

namespace zel::watch {
namespace {

constexpr const char* kTimer = "timer";
constexpr std::chrono::seconds kInterval{10};

/// Armed is well. That it is not is a warning; a timer that runs with nobody to feed it ends the server.
Reading reading_of(const watchdog::Known& known) {
    const bool armed = known.state == watchdog::State::armed;
    Reading reading{
        .object = kTimer, .state = Reading::State::value, .unit = kStateUnit, .about = known.detail};
    reading.value = armed ? 0 : known.left_alone ? 2 : 1;
    // A feeder that ended is started again within some seconds.
    reading.limits = {.fatal = Bounds{2, 1}, .warning = Bounds{1, 0}, .rise = known.left_alone ? 2 : 1};
    return reading;
}

class WatchdogSampler : public Sampler {
  public:
    std::vector<Reading> look(const Now& /*now*/) override {
        const auto known = watchdog::what_is_known();
        take_told(known.page);
        if (known.state == watchdog::State::off) return {};
        return {reading_of(known)};
    }

    std::vector<Entry> entries() override { return std::exchange(entries_, {}); }
    [[nodiscard]] std::chrono::seconds interval() const override { return kInterval; }

    /// The run of the machine, and the last line that was taken.
    [[nodiscard]] Kept keep() const override { return {.position = id_of(boot_, last_)}; }
    void restore(const Kept& kept, const std::set<std::string>& told) override {
        const std::size_t dot = std::min(kept.position.rfind('.'), kept.position.size());
        boot_ = kept.position.substr(0, dot);
        const char* const end = kept.position.data() + kept.position.size();
        std::from_chars(kept.position.data() + std::min(dot + 1, kept.position.size()), end, last_);
        told_ = told;
    }

  private:
    static std::string id_of(const std::string& boot, std::uint32_t number) {
        return boot + '.' + std::to_string(number);
    }

    void take_told(const watchdog::Page& page) {
        if (std::exchange(boot_, page.boot) != page.boot) last_ = 0;
        const auto count = static_cast<std::uint32_t>(page.told.size());
        for (std::uint32_t i = 0; i < count; ++i) {
            const std::uint32_t number = page.told_last - count + 1 + i;
            Entry entry{.object = kTimer, .id = id_of(page.boot, number), .text = page.told[i]};
            if (number > last_ && told_.erase(entry.object + ' ' + entry.id) == 0)
                entries_.push_back(std::move(entry));
        }
        last_ = page.told_last;
    }

    std::string boot_;
    std::uint32_t last_ = 0;
    std::set<std::string> told_;
    std::vector<Entry> entries_;
};

}  // namespace

std::unique_ptr<Sampler> watchdog_sampler() {
    return std::make_unique<WatchdogSampler>();
}

}  // namespace zel::watch
