// SPDX-License-Identifier: GPL-3.0-or-later
#include "key_file.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <deque>
#include <limits>
#include <system_error>
#include <unordered_map>

#include "chars/utf8.h"
#include "key_file_read.h"

namespace zel::store {
namespace {

constexpr std::string_view kBlanks = " \t\r\f\v";

std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

bool is_control(char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
}

bool is_name(std::string_view name) {
    return !name.empty() && chars::is_utf8(name) && std::ranges::none_of(name, is_control) &&
           name.find_first_of("[]") == std::string_view::npos;
}

bool is_key(std::string_view key) {
    return is_name(key) && key.find('=') == std::string_view::npos && key.front() != '#' &&
           key.front() != ' ' && key.back() != ' ';
}

bool is_value(std::string_view value) {
    const auto unfit = [](char c) { return is_control(c) && c != '\t' && c != '\n' && c != '\r'; };
    return chars::is_utf8(value) && std::ranges::none_of(value, unfit);
}

/// The letter after the backslash that a character of a value is written as; 0 for one that stands for
/// itself. Blanks at the ends are written so too: those of a value in the file do not count.
char escape_of(std::string_view value, std::size_t at) {
    switch (value[at]) {
        case '\\':
            return '\\';
        case '\n':
            return 'n';
        case '\r':
            return 'r';
        case '\t':
            return 't';
        case ' ':
            return at == 0 || at + 1 == value.size() ? 's' : '\0';
        default:
            return '\0';
    }
}

void append_escaped(std::string& text, std::string_view value) {
    for (std::size_t at = 0; at < value.size(); ++at) {
        const char escape = escape_of(value, at);
        if (escape != '\0') text += '\\';
        text += escape != '\0' ? escape : value[at];
    }
}

/// Undoes `append_escaped`; nothing for an escape that it does not write.
std::optional<std::string> unescaped(std::string_view text) {
    constexpr std::string_view kEscapes = "\\nrts";
    constexpr std::string_view kMeanings = "\\\n\r\t ";
    std::string value;
    value.reserve(text.size());
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] != '\\') {
            value += text[at];
            continue;
        }
        const std::size_t escape = ++at < text.size() ? kEscapes.find(text[at]) : std::string_view::npos;
        if (escape == std::string_view::npos) return std::nullopt;
        value += kMeanings[escape];
    }
    return value;
}

/// One line of the file. The views point into texts that the key file owns.
struct Line {
    std::string_view text;   ///< As it stands in the file, without the line's end.
    std::string_view key;    ///< Empty for a comment, a blank line and a group's head.
    std::string_view value;  ///< Without blanks around it, escapes as they are.
};

/// A key's line; nothing when the text has no key or an odd one.
std::optional<Line> parse_entry(std::string_view text) {
    const std::size_t equals = text.find('=');
    const std::string_view key = trimmed(text.substr(0, equals));
    if (equals == std::string_view::npos || key.empty() || std::ranges::any_of(key, is_control))
        return std::nullopt;
    return Line{.text = text, .key = key, .value = trimmed(text.substr(equals + 1))};
}

/// The name between the brackets of a group's head, given without blanks around it; empty for anything else.
std::string_view parse_head(std::string_view text) {
    if (!text.starts_with('[') || !text.ends_with(']')) return {};
    const std::string_view name = text.substr(1, text.size() - 2);
    const bool odd =
        name.find_first_of("[]") != std::string_view::npos || std::ranges::any_of(name, is_control);
    return odd ? std::string_view{} : name;
}

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

    /// Leaves nothing but the comments below the last key, which tell of the next group.
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

}  // namespace

struct KeyFile::Impl {
    std::string text;                ///< What was parsed.
    std::deque<std::string> edited;  ///< Lines and names that were set since; never moved.
    std::deque<Group> groups{Group(std::string_view{})};  ///< First what stands above the first head.
    std::unordered_map<std::string_view, Group*> index;

    Group* find(std::string_view name) {
        const auto found = index.find(name);
        return found == index.end() ? nullptr : found->second;
    }

    const Line* find(std::string_view group, std::string_view key) {
        Group* const found = find(group);
        return found != nullptr && !key.empty() ? found->find(key) : nullptr;
    }

    std::string_view keep(std::string line) { return edited.emplace_back(std::move(line)); }

    /// The group of that name; a head that stands a second time goes on with the first one's group.
    Group& open(std::string_view name, std::string_view head) {
        if (Group* const known = find(name)) return *known;
        groups.emplace_back(name).append({.text = head, .key = {}, .value = {}});
        index.emplace(name, &groups.back());
        return groups.back();
    }

    Group& create(const std::string& name) {
        Group& last = groups.back();
        const bool apart = last.lines().empty() || last.lines().back().text.empty();
        if (!apart) last.append({});
        const std::string_view head = keep('[' + name + ']');
        return open(head.substr(1, name.size()), head);
    }

    bool parse_line(Group*& group, std::string_view line) {
        const std::string_view content = trimmed(line);
        if (content.empty() || content.starts_with('#')) {
            group->append({.text = line, .key = {}, .value = {}});
            return true;
        }
        if (content.starts_with('[')) {
            const std::string_view name = parse_head(content);
            if (!name.empty()) group = &open(name, line);
            return !name.empty();
        }
        const auto entry = parse_entry(line);
        if (!entry || group->name().empty()) return false;
        group->append(*entry);
        return true;
    }

    bool parse() {
        Group* group = &groups.front();
        std::string_view rest = text;
        while (!rest.empty()) {
            const std::size_t end = std::min(rest.find('\n'), rest.size());
            if (!parse_line(group, rest.substr(0, end))) return false;
            rest.remove_prefix(std::min(end + 1, rest.size()));
        }
        return true;
    }
};

KeyFile::KeyFile() : impl_(std::make_unique<Impl>()) {}
KeyFile::~KeyFile() = default;
KeyFile::KeyFile(KeyFile&&) noexcept = default;
KeyFile& KeyFile::operator=(KeyFile&&) noexcept = default;

bool KeyFile::parse(std::string_view text) {
    impl_ = std::make_unique<Impl>();
    impl_->text = text;
    if (text.find('\0') == std::string_view::npos && impl_->parse()) return true;
    impl_ = std::make_unique<Impl>();
    return false;
}

std::string KeyFile::serialise() const {
    std::string text;
    text.reserve(impl_->text.size() + 4096);
    for (const Group& group : impl_->groups) {
        for (const Line& line : group.lines())
            text.append(line.text).append(1, '\n');
    }
    return text;
}

std::vector<std::string> KeyFile::groups() const {
    std::vector<std::string> names;
    names.reserve(impl_->index.size());
    for (const Group& group : impl_->groups)
        if (!group.name().empty()) names.emplace_back(group.name());
    return names;
}

std::vector<std::string> KeyFile::keys(const std::string& group) const {
    std::vector<std::string> keys;
    if (const Group* const found = impl_->find(group)) {
        for (const Line& line : found->lines())
            if (!line.key.empty()) keys.emplace_back(line.key);
    }
    return keys;
}

bool KeyFile::has_group(const std::string& group) const {
    return impl_->find(group) != nullptr;
}

std::optional<std::string> KeyFile::get(const std::string& group, const std::string& key) const {
    const Line* const line = impl_->find(group, key);
    return line != nullptr && chars::is_utf8(line->value) ? unescaped(line->value) : std::nullopt;
}

std::optional<std::int64_t> KeyFile::get_int(const std::string& group, const std::string& key) const {
    const std::optional<std::string> text = get(group, key);
    return text ? parse_int(*text) : std::nullopt;
}

bool KeyFile::set(const std::string& group, const std::string& key, const std::string& value) {
    Group* found = impl_->find(group);
    if ((found == nullptr && !is_name(group)) || !is_key(key) || !is_value(value)) return false;

    std::string text = key + '=';
    append_escaped(text, value);
    Line* const known = found != nullptr ? found->find(key) : nullptr;
    if (known != nullptr && known->value == std::string_view(text).substr(key.size() + 1)) return true;

    const std::string_view kept = impl_->keep(std::move(text));
    const Line line{.text = kept, .key = kept.substr(0, key.size()), .value = kept.substr(key.size() + 1)};
    if (known != nullptr) {
        *known = line;
        return true;
    }
    if (found == nullptr) found = &impl_->create(group);
    found->add(line);
    return true;
}

bool KeyFile::set_int(const std::string& group, const std::string& key, std::int64_t value) {
    return set(group, key, std::to_string(value));
}

bool KeyFile::add_group(const std::string& group) {
    if (!is_name(group)) return false;
    if (impl_->find(group) == nullptr) impl_->create(group);
    return true;
}

void KeyFile::remove_group(const std::string& group) {
    Group* const found = impl_->find(group);
    if (found == nullptr) return;
    impl_->index.erase(group);
    found->clear();
}

std::string too_large(std::string_view text) {
    const auto more_than = [](std::size_t most, const char* what) {
        return "has more than " + std::to_string(most) + ' ' + what;
    };
    if (text.size() > max_key_file_size) return more_than(max_key_file_size, "bytes");
    std::size_t lines = 0;
    std::size_t groups = 0;
    for (std::size_t start = 0; start < text.size(); ++lines) {
        const std::size_t first = text.find_first_not_of(kBlanks, start);
        if (first != std::string_view::npos && text[first] == '[') ++groups;
        start = std::min(text.find('\n', start), text.size() - 1) + 1;
    }
    if (lines > max_key_file_lines) return more_than(max_key_file_lines, "lines");
    return groups > max_key_file_groups ? more_than(max_key_file_groups, "groups") : std::string();
}

std::optional<std::int64_t> parse_int(std::string_view text) {
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+')) text.remove_prefix(1);
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    if (hexadecimal) text.remove_prefix(2);

    std::uint64_t magnitude = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, magnitude, hexadecimal ? 16 : 10);
    if (error != std::errc{} || stop != end) return std::nullopt;

    constexpr std::uint64_t highest = std::numeric_limits<std::int64_t>::max();
    if (magnitude > highest + (negative ? 1 : 0)) return std::nullopt;
    return static_cast<std::int64_t>(negative ? 0 - magnitude : magnitude);
}

}  // namespace zel::store
