// SPDX-License-Identifier: GPL-3.0-or-later
// What the feeder knows of the timer and has to tell: a file of a few lines, in the folder that lives as long as the
// machine runs. The feeder reads it when it starts, the service and zelctl read it at any time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "bmc/watchdog_timer.h"

namespace zel::watchdog {

/// As everybody is told.
enum class State : std::uint8_t {
    off,
    armed,
    refused,  ///< It is wanted, and may not or cannot be armed; the detail says why.
    lost,     ///< It was armed, and is no longer, or nobody knows.
};
const char* state_name(State state);

/// How the feeder and the timer stand.
enum class Hold : std::uint8_t {
    none,     ///< The feeder has nothing to do with it.
    arming,   ///< It is about to be set: what runs may be the new setting or the former one.
    armed,    ///< It runs, and is the feeder's.
    stopped,  ///< It was the feeder's, and somebody stopped it on purpose.
    taken,    ///< Somebody else's runs.
};

/// So many of the last lines are kept.
inline constexpr std::size_t kMostTold = 8;

struct Page {
    State state = State::off;
    std::string detail = {};
    Hold hold = Hold::none;
    bmc::TimerSetting timer = {};                  ///< The feeder's, as far as it holds one.
    std::optional<bmc::TimerSetting> former = {};  ///< What may still run while it is set anew.
    std::uint32_t generation = 0;                  ///< Of the settings that it was armed by.
    std::uint32_t told_last = 0;                   ///< Number of the last line of `told`.
    std::vector<std::string> told = {};            ///< What has happened, the latest last; a few lines.
    std::string boot = {};                         ///< Whose number these are: of one run of the machine.
    bool operator==(const Page&) const = default;
};

/// What was written during this run of the machine; an empty page where there is none.
Page read_page();
/// Replaces the file. False, with errno set, when that failed.
bool write_page(const Page& page);

/// The file whose lock the feeder holds as long as it lives, with the number of its process in it.
std::string feeder_lock();

/// Has the feeder look at the timer now. False when none runs, or it cannot be told.
bool wake_feeder();

/// Whether the feeder holds a timer: one of its own runs, or may.
bool holds(const Page& page);
/// Whether it holds one with this setting.
bool is_held(const Page& page, const bmc::TimerSetting& setting);
std::string in_use(const bmc::TimerSetting& setting);

/// What is known of the timer without asking the controller: the page, corrected where the feeder does not run.
struct Known {
    State state = State::off;
    std::string detail;
    bool left_alone = false;  ///< The feeder is gone, and the timer that it armed runs down.
    Page page;
};
Known what_is_known();

}  // namespace zel::watchdog
