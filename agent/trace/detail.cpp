// SPDX-License-Identifier: GPL-3.0-or-later
#include "detail.h"

#include <algorithm>
#include <string>

#include "base/file_io.h"
#include "base/paths.h"

namespace zel::trace {
namespace {

constexpr std::size_t kMostBytes = std::size_t{1} << 20;

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view kBlanks = " \t\r";
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::optional<Detail> meaning(std::string_view word) {
    if (word == "errors") return Detail::errors;
    if (word == "information") return Detail::information;
    if (word == "all") return Detail::all;
    return std::nullopt;
}

}  // namespace

std::optional<Detail> chosen_detail(std::string_view configuration, Detail fallback) {
    std::optional<Detail> chosen = fallback;
    bool ours = false;
    while (!configuration.empty()) {
        const std::size_t end = std::min(configuration.find('\n'), configuration.size());
        const std::string_view line = trimmed(configuration.substr(0, end));
        configuration.remove_prefix(std::min(end + 1, configuration.size()));
        if (line.starts_with('[')) ours = line == "[trace]";
        const std::size_t equals = line.find('=');
        if (!ours || equals == std::string_view::npos || trimmed(line.substr(0, equals)) != "level") continue;
        chosen = meaning(trimmed(line.substr(equals + 1)));
    }
    return chosen;
}

std::optional<Detail> configured_detail(Detail fallback) {
    const base::UniqueFd file = base::open_regular(base::config_file());
    std::string text;
    if (!file || !base::read_at_most(file.get(), kMostBytes, text)) return fallback;
    return chosen_detail(text, fallback);
}

Detail usual_detail() {
    return base::is_private_agent() ? Detail::all : Detail::information;
}

}  // namespace zel::trace
