// SPDX-License-Identifier: GPL-3.0-or-later
// How a setting is named: "cpu.TOTAL.fatal.report", "filesystem[/var].mode".
#pragma once

#include <compare>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zel::ctl {

/// The name of a setting, or of what holds some.
struct Path {
    std::string resource;
    std::string object =
        {};                 ///< What stands in brackets, as escape_name writes it; empty where nothing does.
    std::string rest = {};  ///< "fatal.report.percent"; empty for all of the object.

    auto operator<=>(const Path&) const = default;
};

std::string text_of(const Path& path);

/// Reads a path; names in brackets may be spelled in more than one way, and become one. Nothing for what is none.
std::optional<Path> parse_path(std::string_view text);

/// True for the path itself and all that lies below it.
bool holds(const Path& holder, const Path& path);

/// The names on the way to the setting, as a document nests them; they are the path's own.
std::vector<std::string_view> parts_of(const Path& path);

}  // namespace zel::ctl
