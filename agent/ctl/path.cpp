// SPDX-License-Identifier: GPL-3.0-or-later
#include "path.h"

#include <algorithm>

#include "settings/threshold_file.h"

namespace zel::ctl {
namespace {

bool has_empty_part(std::string_view text) {
    return text.empty() || text.starts_with('.') || text.ends_with('.') ||
           text.find("..") != std::string_view::npos;
}

}  // namespace

std::string text_of(const Path& path) {
    std::string text = path.resource;
    if (!path.object.empty()) text.append("[").append(path.object).append("]");
    if (!path.rest.empty()) text.append(".").append(path.rest);
    return text;
}

std::optional<Path> parse_path(std::string_view text) {
    Path path{.resource = std::string(text.substr(0, text.find_first_of(".[")))};
    text.remove_prefix(path.resource.size());
    if (text.starts_with('[')) {
        const std::size_t end = text.find(']');
        if (end == std::string_view::npos || end == 1) return std::nullopt;
        path.object = settings::escape_name(settings::unescape_name(text.substr(1, end - 1)));
        text.remove_prefix(end + 1);
    }
    const bool ends = text.empty();
    if (path.resource.empty() || (!ends && !text.starts_with('.'))) return std::nullopt;
    if (ends) return path;
    path.rest = text.substr(1);
    return has_empty_part(path.rest) ? std::nullopt : std::optional(path);
}

bool holds(const Path& holder, const Path& path) {
    if (holder.resource != path.resource) return false;
    if (!holder.object.empty() && holder.object != path.object) return false;
    if (holder.rest.empty()) return true;
    if (holder.object != path.object || !path.rest.starts_with(holder.rest)) return false;
    return path.rest.size() == holder.rest.size() || path.rest[holder.rest.size()] == '.';
}

std::vector<std::string_view> parts_of(const Path& path) {
    std::vector<std::string_view> parts{path.resource};
    if (!path.object.empty()) parts.push_back(path.object);
    std::string_view rest = path.rest;
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find('.'), rest.size());
        parts.emplace_back(rest.substr(0, end));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return parts;
}

}  // namespace zel::ctl
