// SPDX-License-Identifier: GPL-3.0-or-later
// One group of a key file, with its lines as they stand there.
#pragma once

#include <cstddef>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "key_line.h"

namespace zel::store {

/// The lines from a group's head to the next one. Of a key that stands twice the last counts.
class Group {
  public:
    explicit Group(std::string_view name) : name_(name) {}

    [[nodiscard]] std::string_view name() const { return name_; }
    [[nodiscard]] const std::vector<Line>& lines() const { return lines_; }

    void append(const Line& line) {
        lines_.push_back(line);
        if (!index_.empty()) index_.insert_or_assign(line.key, lines_.size() - 1);
    }

    Line* find(std::string_view key) {
        if (lines_.size() <= kSearched) {
            const auto last = std::ranges::find(lines_.rbegin(), lines_.rend(), key, &Line::key);
            return last == lines_.rend() ? nullptr : &*last;
        }
        if (index_.empty()) {
            for (std::size_t at = 0; at < lines_.size(); ++at)
                index_.insert_or_assign(lines_[at].key, at);
        }
        const auto found = index_.find(key);
        return found == index_.end() ? nullptr : &lines_[found->second];
    }

    /// Behind the last key, or the head, so that a comment or blank line above the next head stays there.
    void add(const Line& line) {
        const auto last = std::ranges::find_if(lines_.rbegin(), lines_.rend(),
                                               [](const Line& old) { return !old.key.empty(); });
        if (last == lines_.rbegin()) return append(line);
        lines_.insert(last == lines_.rend() ? lines_.begin() + 1 : last.base(), line);
        index_.clear();
    }

    /// Leaves nothing but the comments below the last key, which are about the next group.
    void clear() {
        const auto last = std::ranges::find_if(lines_.rbegin(), lines_.rend(),
                                               [](const Line& old) { return !old.key.empty(); });
        lines_.erase(lines_.begin(), last == lines_.rend() ? lines_.begin() + 1 : last.base());
        const bool blank = std::ranges::all_of(lines_, [](const Line& line) { return line.text.empty(); });
        if (blank) lines_.clear();
        name_ = {};
        index_.clear();
    }

  private:
    // Most groups have a handful of keys; an index for each would cost more than it saves.
    static constexpr std::size_t kSearched = 32;

    std::string_view name_;
    std::vector<Line> lines_;
    std::unordered_map<std::string_view, std::size_t> index_;  ///< Of a large group, made when first asked.
};

}  // namespace zel::store
