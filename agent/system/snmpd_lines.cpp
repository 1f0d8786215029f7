// SPDX-License-Identifier: GPL-3.0-or-later
#include "snmpd_lines.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "zel/trace.h"

namespace zel::system {
namespace {

constexpr const char* kModule = "config_lines";
constexpr std::string_view kBlanks = " \t\r\n\v\f";
constexpr std::size_t kChunk = std::size_t{64} << 10;

bool is_blank(char c) {
    return kBlanks.find(c) != std::string_view::npos;
}

}  // namespace

void Words::skip_blanks() {
    text_.remove_prefix(std::min(text_.find_first_not_of(kBlanks), text_.size()));
}

bool Words::next(std::string& word) {
    word.clear();
    skip_blanks();
    if (text_.empty() || text_.front() == '#') return false;
    const char quote = text_.front() == '"' || text_.front() == '\'' ? text_.front() : '\0';
    std::size_t at = quote ? 1 : 0;
    const auto ends = [&] { return quote ? text_[at] == quote : is_blank(text_[at]); };
    while (at < text_.size() && !ends()) {
        if (text_[at] == '\\' && at + 1 < text_.size()) ++at;
        word += text_[at++];
    }
    const bool whole = at < text_.size() || !cut_;
    text_.remove_prefix(std::min(at + (quote ? 1 : 0), text_.size()));
    return whole;
}

std::string_view Words::rest() {
    skip_blanks();
    if (cut_ || text_.starts_with('#')) return {};
    return text_.substr(0, text_.find_last_not_of(kBlanks) + 1);
}

Lines::Lines(const base::UniqueFd& file, std::size_t longest_line, std::size_t most)
    : file_(file.get()), longest_line_(longest_line), left_(most), buffer_(kChunk, '\0') {}

bool Lines::next() {
    line_.clear();
    cut_ = false;
    bool any = false;
    while (!unread_.empty() || fill()) {
        any = true;
        const std::size_t end = unread_.find('\n');
        append(unread_.substr(0, end));
        unread_.remove_prefix(std::min(end, unread_.size() - 1) + 1);
        if (end != std::string_view::npos) return true;
    }
    return any;
}

void Lines::append(std::string_view part) {
    const std::string_view fitting = part.substr(0, longest_line_ - line_.size());
    line_ += fitting;
    cut_ = cut_ || fitting.size() < part.size();
}

bool Lines::fill() {
    ssize_t got = 0;
    do {
        got = ::read(file_, buffer_.data(), std::min(buffer_.size(), left_));
    } while (got < 0 && errno == EINTR);
    if (got < 0) {
        ZEL_TRACE(TRACE_LEVEL_RESOURCE, "A file cannot be read on: %s.", std::strerror(errno));
        got = 0;
    }
    left_ -= static_cast<std::size_t>(got);
    unread_ = std::string_view(buffer_).substr(0, static_cast<std::size_t>(got));
    return got > 0;
}

}  // namespace zel::system
