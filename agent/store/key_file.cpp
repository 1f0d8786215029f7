// SPDX-License-Identifier: GPL-3.0-or-later
#include "key_file.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <deque>
#include <limits>
#include <system_error>
#include <unordered_map>
#include <utility>

#include "chars/utf8.h"
#include "key_group.h"

namespace zel::store {

struct KeyFile::Impl {
    std::string text;                ///< What was parsed.
    std::deque<std::string> edited;  ///< Lines and names that were set since; never moved.
    std::deque<Group> groups{Group(std::string_view{})};  ///< First what stands above the first head.
    std::unordered_map<std::string_view, Group*> index;
    std::vector<Change> changes;

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

    const bool readable = known != nullptr && chars::is_utf8(known->value);
    impl_->changes.push_back({group, key, readable ? unescaped(known->value) : std::nullopt, value});
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

std::vector<KeyFile::Change> KeyFile::take_changes() {
    return std::exchange(impl_->changes, {});
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

std::optional<std::int64_t> parse_int(std::string_view text) {
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+')) text.remove_prefix(1);
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    if (hexadecimal) text.remove_prefix(2);

    std::uint64_t magnitude = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, magnitude, hexadecimal ? 16 : 10);
    if (error != std::errc{} || stop != end) return std::nullopt;

    constexpr std::uint64_t kHighest = std::numeric_limits<std::int64_t>::max();
    if (magnitude > kHighest + (negative ? 1 : 0)) return std::nullopt;
    return static_cast<std::int64_t>(negative ? 0 - magnitude : magnitude);
}

}  // namespace zel::store
