// SPDX-License-Identifier: GPL-3.0-or-later
// Those of the kernel's lines that an administrator has to know of, whatever is watched.
#pragma once

#include <span>
#include <string_view>

namespace zel::watch {

struct EventlogLine {
    const char* pattern;  ///< Of the whole line, as regcomp(3) takes it.
    const char* example;
};
std::span<const EventlogLine> eventlog_lines();

bool is_worth_telling(std::string_view line);

}  // namespace zel::watch
