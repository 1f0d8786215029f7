// SPDX-License-Identifier: GPL-3.0-or-later
#include "case_text.h"

#include <algorithm>
#include <regex>

namespace zeltest {
namespace {

const std::string kBlanks = " ";

}  // namespace

std::string trimmed(std::string text) {
    text.erase(text.find_last_not_of(kBlanks) + 1);
    return text.erase(0, std::min(text.find_first_not_of(kBlanks), text.size()));
}

std::vector<std::string> split(const std::string& text, const std::string& mark) {
    std::vector<std::string> all;
    const std::size_t step = std::max<std::size_t>(mark.size() - 1, 1);  // the blank may belong to two marks
    for (std::size_t from = 0, end = 0; from <= text.size(); from = end + step) {
        end = std::min(text.find(mark, from), text.size());
        all.push_back(trimmed(text.substr(from, end - from)));
    }
    return all;
}

std::string joined(const std::string& left, const std::string& right, const char* between) {
    return left + (left.empty() || right.empty() ? "" : between) + right;
}

void replace(std::string& text, const char* pattern, const std::function<std::string(std::string)>& with) {
    std::string result;
    std::smatch match;
    for (const std::regex regex(pattern); std::regex_search(text, match, regex); text = match.suffix())
        result += match.prefix().str() + with(match.str());
    text = result + text;
}

std::string plain(std::string picture) {
    replace(picture, "(│|[_\n ])+", [](auto) { return kBlanks; });
    return picture;
}

void expand(std::string& text) {
    replace(text, R"(\{[^{}*]+\*\d+\})", [](const std::string& repeated) {
        const auto star = repeated.find('*');
        std::string all;
        for (int left = std::stoi(repeated.substr(star + 1)); left > 0; --left)
            all += repeated.substr(1, star - 1);
        return all;
    });
    replace(text, R"(\\x[0-9a-f]{2})", [](const std::string& byte) {
        return std::string(1, static_cast<char>(std::stoi(byte.substr(2), nullptr, 16)));
    });
}

bool fits(std::string expected, const std::string& actual) {
    const bool more_before = expected.starts_with("...");
    if (more_before) expected = trimmed(expected.substr(3));
    const bool more_behind = expected.ends_with("...");
    if (more_behind) expected = trimmed(expected.substr(0, expected.size() - 3));
    const auto at = more_before && !more_behind ? actual.size() - std::min(expected.size(), actual.size())
                                                : actual.find(expected);
    return (more_before ? at != std::string::npos : at == 0) &&
           (more_behind || (at + expected.size() == actual.size() && actual.ends_with(expected)));
}

}  // namespace zeltest
