// SPDX-License-Identifier: GPL-3.0-or-later
#include "answer.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <cwchar>

#include "base/file_io.h"
#include "chars/plain.h"
#include "chars/utf8.h"

namespace zel::ctl {
namespace {

constexpr std::size_t kGap = 2;
/// One long name shall not push all that stands behind the others off the screen.
constexpr std::size_t kWidest = 60;

std::size_t width_of(std::string_view text) {
    std::size_t width = 0;
    while (!text.empty()) {
        const auto character = chars::first_character(text);
        const bool whole = character.kind == chars::Utf8Character::Kind::whole;
        const int cells = whole ? ::wcwidth(static_cast<wchar_t>(character.code)) : 1;
        width += static_cast<std::size_t>(std::max(cells, 0));
        text.remove_prefix(whole ? character.size : 1);
    }
    return width;
}

}  // namespace

std::string columns(std::span<const Row> rows) {
    std::vector<std::size_t> widths;
    for (const Row& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i)
            if (const std::size_t width = width_of(row[i]); width <= kWidest)
                widths[i] = std::max(widths[i], width);
    }
    std::string text;
    for (const Row& row : rows) {
        std::size_t blanks = 0;
        for (std::size_t i = 0; i < row.size(); ++i) {
            if (!row[i].empty()) text.append(std::exchange(blanks, 0), ' ').append(row[i]);
            blanks += std::max(widths[i], width_of(row[i])) + kGap - width_of(row[i]);
        }
        text += '\n';
    }
    return text;
}

std::string shown(std::string_view text) {
    return chars::escaped(text);
}

bool put_out(std::string_view text) {
    return base::write_all(STDOUT_FILENO, text);
}

Exit give(const Request& request, Answer answer, Exit exit) {
    if (request.json) {
        Json errors = Json::array();
        for (const Problem& problem : answer.problems)
            errors.push_back({{"path", problem.path}, {"message", problem.message}});
        answer.json["errors"] = std::move(errors);
        answer.text = base::json_text(answer.json) + '\n';
    }
    const bool out = put_out(answer.text);
    const int reason = errno;
    if (!request.json) {
        for (const auto& [path, message] : answer.problems)
            std::fprintf(stderr, "zelctl: %s%s%s\n", shown(path).c_str(), path.empty() ? "" : ": ",
                         shown(message).c_str());
    }
    if (out) return exit;
    std::fprintf(stderr, "zelctl: standard output: %s\n", std::strerror(reason));
    return Exit::failed;
}

}  // namespace zel::ctl
