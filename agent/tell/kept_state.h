// SPDX-License-Identifier: GPL-3.0-or-later
// What the service goes on with after a restart, `state.json` in its folder: levels and how far they were told.
//
// It is replaced after events were written, so that it may be behind the event log, never ahead of it: the events that
// are newer tell the rest. A disk that is full keeps it behind, and nothing is lost.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include "watch/judge.h"
#include "watch/sampler.h"

namespace zel::tell {

/// What samplers remember, by resource.
using AllKept = std::map<std::string, watch::Kept>;

/// Puts the kept levels into a judge, and gives what samplers remember. A file that cannot be understood is kept aside, said, and counts as missing.
/// @return The number of the last event that the levels know of.
std::uint64_t load_state(const std::string& folder, watch::Judge& judge, AllKept& kept,
                         const std::function<void(const std::string&)>& say);

/// Replaces the file, durably. False with errno set when that failed.
bool save_state(const std::string& folder, const watch::Judge& judge, const AllKept& kept, std::uint64_t seq);

}  // namespace zel::tell
