// SPDX-License-Identifier: GPL-3.0-or-later
#include "threshold_file.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>

#include "base/paths.h"
#include "change_log.h"
#include "chars/utf8.h"
#include "zel/trace.h"

namespace zel::settings {
namespace {

constexpr const char* kModule = "threshold_file";
constexpr std::size_t kMostTold = 20;

bool must_escape(unsigned char byte, bool utf8) {
    return byte < 0x20 || byte == 0x7F || byte == '%' || byte == '[' || byte == ']' ||
           (byte >= 0x80 && !utf8);
}

/// The byte that two hexadecimal digits at the front of `text` stand for; nothing for others and for zero.
std::optional<char> escaped_byte(std::string_view text) {
    unsigned value = 0;
    if (text.size() < 2) return std::nullopt;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + 2, value, 16);
    if (error != std::errc{} || stop != text.data() + 2 || value == 0) return std::nullopt;
    return static_cast<char>(value);
}

}  // namespace

std::string escape_name(std::string_view name) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    const bool utf8 = chars::is_utf8(name);
    const auto stays = [utf8](char character) {
        return !must_escape(static_cast<unsigned char>(character), utf8);
    };
    if (std::ranges::all_of(name, stays)) return std::string(name);
    std::string text;
    text.reserve(name.size());
    for (const char character : name) {
        const auto byte = static_cast<unsigned char>(character);
        if (must_escape(byte, utf8)) {
            text.append({'%', kDigits[byte >> 4U], kDigits[byte & 0xFU]});
        } else {
            text += character;
        }
    }
    return text;
}

std::string unescape_name(std::string_view text) {
    if (text.find('%') == std::string_view::npos) return std::string(text);
    std::string name;
    name.reserve(text.size());
    while (!text.empty()) {
        const auto byte = text.front() == '%' ? escaped_byte(text.substr(1)) : std::nullopt;
        name += byte.value_or(text.front());
        text.remove_prefix(byte ? 3 : 1);
    }
    return name;
}

std::optional<std::string> name_of_group(const std::string& group, const Naming& naming) {
    // Groups that are not UTF-8 could not be written.
    if (!group.starts_with(naming.prefix) || !chars::is_utf8(group)) return std::nullopt;
    std::string name = unescape_name(std::string_view(group).substr(naming.prefix.size()));
    if (name.empty() || name.size() > naming.longest || !name.starts_with(naming.name_start))
        return std::nullopt;
    return name;
}

std::map<std::string, std::string> groups_by_name(const store::KeyFile& file, const Naming& naming) {
    std::map<std::string, std::string> groups;
    for (const std::string& group : file.groups()) {
        if (auto name = name_of_group(group, naming)) groups.try_emplace(*std::move(name), group);
    }
    return groups;
}

std::string group_of(const std::map<std::string, std::string>& groups, const Naming& naming,
                     const std::string& name) {
    const auto known = groups.find(name);
    return known != groups.end() ? known->second : std::string(naming.prefix) + escape_name(name);
}

bool mark_present(store::KeyFile& file, const Naming& naming, const FoundNames& found) {
    return std::ranges::all_of(groups_by_name(file, naming), [&](const auto& named) {
        const auto& [name, group] = named;
        if (!found && file.get(group, kPresentKey)) return true;
        return file.set(group, kPresentKey, !found || found->contains(name) ? "true" : "false");
    });
}

std::string ThresholdFile::path() const {
    return base::settings_folder() + '/' + name;
}

store::Status load_thresholds(const ThresholdFile& from, store::KeyFile& file) {
    const std::string path = from.path();
    const store::Status status = store::read_key_file(path, file);
    if (status == store::Status::failed) {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "%s cannot be read: %s.", path.c_str(), std::strerror(errno));
    }
    return status;
}

bool save_thresholds(const ThresholdFile& to, const std::function<bool(store::KeyFile&)>& change) {
    const std::string path = to.path();
    std::vector<store::KeyFile::Change> changes;
    bool fits = true;
    errno = 0;
    const auto checked = [&](store::KeyFile& file) { return fits = change(file); };
    if (store::update_key_file(path, checked, &changes) == store::Status::ok && fits) {
        log_file_changes(to, changes);
        return true;
    }
    ZEL_TRACE(TRACE_LEVEL_ERROR, "%s cannot be written: %s.", path.c_str(),
              std::strerror(fits ? errno : EINVAL));
    return false;
}

std::optional<int> valid_number(const store::KeyFile& file, const std::string& group, const std::string& key,
                                Range range) {
    const auto number = file.get_int(group, key);
    if (!number || *number < range.least || *number > range.greatest) return std::nullopt;
    return static_cast<int>(*number);
}

bool put_number(store::KeyFile& file, const std::string& group, const Value& value, int wanted,
                std::optional<int> before) {
    const auto held =
        before == wanted ? valid_number(file, group, value.name, Range::of(value)) : std::nullopt;
    return (held && *held != wanted) || file.set_int(group, value.name, wanted);
}

void tell_misfit(const ThresholdFile& file, const std::string& group) {
    ZEL_TRACE(TRACE_LEVEL_ERROR, "%s: [%s] does not fit what somebody else has written meanwhile.", file.name,
              group.c_str());
}

ThresholdReader::~ThresholdReader() {
    if (told_ <= kMostTold) return;
    ZEL_TRACE(TRACE_LEVEL_ERROR, "%s: %zu more values are invalid.", path_.c_str(), told_ - kMostTold);
}

int ThresholdReader::number(const std::string& group, const std::string& key, Range range, int fallback) {
    if (!file_.has_group(group)) return fallback;
    if (const auto number = valid_number(file_, group, key, range)) return *number;
    tell(group, key + " is not a number from " + std::to_string(range.least) + " to " +
                    std::to_string(range.greatest) + ", taken as " + std::to_string(fallback));
    return fallback;
}

std::size_t ThresholdReader::word(const std::string& group, const std::string& key,
                                  std::span<const std::string_view> words, std::size_t fallback) {
    if (!file_.has_group(group)) return fallback;
    const auto text = file_.get(group, key);
    const auto found = text ? std::ranges::find(words, *text) : words.end();
    if (found != words.end()) return static_cast<std::size_t>(found - words.begin());
    tell(group, key + " is none of the known words, taken as " + std::string(words[fallback]));
    return fallback;
}

void ThresholdReader::tell(const std::string& group, const std::string& what) {
    if (++told_ > kMostTold) return;
    ZEL_TRACE(TRACE_LEVEL_ERROR, "%s: [%s] %s.", path_.c_str(), group.c_str(), what.c_str());
}

}  // namespace zel::settings
