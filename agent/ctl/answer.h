// SPDX-License-Identifier: GPL-3.0-or-later
// What a verb has to say, to people and to programs.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/json_text.h"
#include "exit.h"
#include "setting.h"

namespace zel::ctl {

using base::Json;

/// What was asked for on the command line.
struct Request {
    std::vector<std::string> words{};  ///< Without the verb.
    bool json = false;
    bool dry_run = false;
    bool exit_code = false;
    bool follow = false;
    bool watch = false;
    bool show_secrets = false;
    bool schema = false;
    std::optional<std::string> if_tag{};
    std::optional<std::string> since{};
    std::optional<std::string> output{};
};

struct Answer {
    std::string text{};          ///< For people, with its line feeds.
    Json json = Json::object();  ///< For programs; the problems are added.
    Problems problems{};
};

using Row = std::vector<std::string>;
/// Rows in columns, as wide as they need be on a terminal; empty cells at the end take no room.
std::string columns(std::span<const Row> rows);

/// Text from outside, fit to be shown: what could steer a terminal becomes visible.
std::string shown(std::string_view text);

/// Writes it all; false, with errno set, when the output does not take it.
bool put_out(std::string_view text);

/// Gives the answer: text and problems, or JSON with them.
/// @return `exit`; failed when the output did not take it.
Exit give(const Request& request, Answer answer, Exit exit);

}  // namespace zel::ctl
