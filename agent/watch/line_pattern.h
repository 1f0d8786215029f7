// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <regex.h>

#include <array>
#include <deque>
#include <optional>
#include <string>
#include <string_view>

namespace zel::watch {

/// A regular expression, made once and as long as the process lives; an example in its table's test shows that it can be.
class LinePattern {
  public:
    explicit LinePattern(const char* pattern) : made_(::regcomp(&pattern_, pattern, REG_EXTENDED) == 0) {}
    ~LinePattern() {
        if (made_) ::regfree(&pattern_);
    }
    LinePattern(const LinePattern&) = delete;
    LinePattern& operator=(const LinePattern&) = delete;

    /// The first group of a line that fits; nothing of another one, and of one with a null character.
    [[nodiscard]] std::optional<std::string> match(const std::string& line) const {
        std::array<regmatch_t, 2> places{};
        if (!made_ || line.find('\0') != std::string::npos ||
            ::regexec(&pattern_, line.c_str(), places.size(), places.data(), 0) != 0)
            return std::nullopt;
        const auto [from, to] = places[1];
        return from < 0 ? std::string()
                        : line.substr(static_cast<std::size_t>(from), static_cast<std::size_t>(to - from));
    }

  private:
    regex_t pattern_{};
    bool made_;
};

/// The patterns of a table's rows. Never destroyed: threads may still ask while the process ends.
template <class Rows>
const std::deque<LinePattern>& made_of(const Rows& rows) {
    auto& made = *new std::deque<LinePattern>;
    for (const auto& row : rows)
        made.emplace_back(row.pattern);
    return made;
}

}  // namespace zel::watch
