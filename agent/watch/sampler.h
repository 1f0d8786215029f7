// SPDX-License-Identifier: GPL-3.0-or-later
// How one resource is looked at. A sampler is one file and one row of the table in sampler.cpp; it is used by one
// thread at a time, and its looks may block that thread without harm to another resource.
#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "reading.h"

namespace zel::watch {

/// What a sampler remembers from one start of the service to the next.
struct Kept {
    std::string position = {};  ///< In a log. Behind it nothing is lost: it is read again.
    std::map<std::string, std::string> facts = {};
    bool operator==(const Kept&) const = default;
};

class Sampler {
  public:
    Sampler() = default;
    virtual ~Sampler() = default;
    Sampler(const Sampler&) = delete;
    Sampler& operator=(const Sampler&) = delete;

    /// Reads the settings, where they can be read, and then everything they have watched.
    virtual std::vector<Reading> look(const Now& now) = 0;
    /// What the last look found in logs; none is given twice.
    virtual std::vector<Entry> entries() { return {}; }
    /// Begins anew with an object: what was counted of it is forgotten.
    virtual void start_again(const std::string& /*object*/) {}

    /// What the next start is to go on with, as it is after the last look.
    [[nodiscard]] virtual Kept keep() const { return {}; }
    /// Goes on so, before the first look.
    /// @param told  Entries, by id, that were told after this was kept: object and id, with a blank between.
    virtual void restore(const Kept& /*kept*/, const std::set<std::string>& /*told*/) {}
    /// Until the next look, by the settings that the last one went by.
    [[nodiscard]] virtual std::chrono::seconds interval() const = 0;
};

struct SamplerRow {
    const char* resource;  ///< As it is told: "cpu".
    const char* title;     ///< What its messages begin with.
    std::unique_ptr<Sampler> (*make)();
};
std::span<const SamplerRow> samplers();
/// The title of a resource, its name where there is none.
std::string title_of(const std::string& resource);

std::unique_ptr<Sampler> cpu_sampler();
std::unique_ptr<Sampler> eventlog_sampler();
std::unique_ptr<Sampler> filesystem_sampler();
std::unique_ptr<Sampler> lan_sampler();
std::unique_ptr<Sampler> raid_sampler();
std::unique_ptr<Sampler> storage_sampler();
std::unique_ptr<Sampler> temperature_sampler();
std::unique_ptr<Sampler> voltage_sampler();
std::unique_ptr<Sampler> watchdog_sampler();

}  // namespace zel::watch
