// SPDX-License-Identifier: GPL-3.0-or-later
// How much of what programs trace is written.
//
//   agent.conf
//   [trace]
//   level=errors|information|all   missing: information, with ZelDir all
#pragma once

#include <optional>
#include <string_view>

#include "zel/tracelog.h"

namespace zel::trace {

/// Each holds the ones before it.
enum class Detail { errors, information, all };

constexpr Detail detail_of(int level) {
    if (level == TRACE_LEVEL_ERROR || level == TRACE_LEVEL_RESOURCE) return Detail::errors;
    return level == TRACE_LEVEL_INFO ? Detail::information : Detail::all;
}

/// What the text of a configuration chooses; nothing when it has a word that is not known. Of several values the
/// last one counts, as in all key files. They are read here in a few lines: the store itself traces.
std::optional<Detail> chosen_detail(std::string_view configuration, Detail fallback);

/// The same from agent.conf.
std::optional<Detail> configured_detail(Detail fallback);

/// What counts where agent.conf chooses nothing that is known.
Detail usual_detail();

}  // namespace zel::trace
