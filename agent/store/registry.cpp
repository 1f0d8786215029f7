// SPDX-License-Identifier: GPL-3.0-or-later
#include "registry.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <limits>
#include <map>
#include <system_error>
#include <unordered_map>
#include <utility>

#include "base/paths.h"
#include "cached_file.h"

namespace zel::store::registry {
namespace {

std::string fold(std::string_view text) {
    std::string folded(text);
    for (char& c : folded) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return folded;
}

/// The path with single '/' between its parts and none around them.
std::string clean_path(std::string_view path) {
    std::string clean;
    clean.reserve(path.size());
    for (const char c : path) {
        const bool separator = c == '\\' || c == '/';
        if (separator && (clean.empty() || clean.back() == '/')) continue;
        clean += separator ? '/' : c;
    }
    if (clean.ends_with('/')) clean.pop_back();
    return clean;
}

std::string folded_path(std::string_view path) {
    return fold(clean_path(path));
}

std::optional<Binary> parse_hex(std::string_view text) {
    if (text.size() % 2 != 0) return std::nullopt;
    Binary bytes(text.size() / 2);
    for (std::uint8_t& byte : bytes) {
        const auto [stop, error] = std::from_chars(text.data(), text.data() + 2, byte, 16);
        if (error != std::errc{} || stop != text.data() + 2) return std::nullopt;
        text.remove_prefix(2);
    }
    return bytes;
}

std::optional<Value> parse_value(std::string_view text) {
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos) return std::nullopt;
    const std::string_view type = text.substr(0, colon);
    const std::string_view rest = text.substr(colon + 1);
    if (type == "sz") return std::string(rest);
    if (type == "binary") return parse_hex(rest);
    const std::int64_t number = type == "dword" ? parse_int(rest).value_or(-1) : -1;
    if (number < 0 || number > std::numeric_limits<std::uint32_t>::max()) return std::nullopt;
    return static_cast<std::uint32_t>(number);
}

struct Formatter {
    std::string operator()(std::uint32_t number) const { return "dword:" + std::to_string(number); }
    std::string operator()(const std::string& text) const { return "sz:" + text; }
    std::string operator()(const Binary& bytes) const {
        constexpr std::string_view kDigits = "0123456789abcdef";
        std::string text = "binary:";
        for (const std::uint8_t byte : bytes) {
            text += kDigits[byte >> 4U];
            text += kDigits[byte & 0xFU];
        }
        return text;
    }
};

// Of names that differ only in case, the last one of the file counts, here and in `Place` below.
using Values = std::unordered_map<std::string, std::optional<Value>>;
using Keys = std::map<std::string, Values>;

/// The registry as one state of its file has it, all names folded.
struct Snapshot {
    Snapshot(Status read, const KeyFile& file) : status(read) {
        for (const std::string& group : file.groups()) {
            Values& values = keys[folded_path(group)];
            for (const std::string& name : file.keys(group)) {
                const std::optional<std::string> text = file.get(group, name);
                values.insert_or_assign(fold(name), text ? parse_value(*text) : std::nullopt);
            }
        }
    }

    Status status;
    Keys keys;
};

std::shared_ptr<const Snapshot> current() {
    // Never destroyed: threads may still read while the process ends.
    static auto& file = *new CachedFile<Snapshot>(path());
    return file.current();
}

/// Where one key's values stand in the file, in the file's own spelling.
struct Place {
    std::string group;
    std::unordered_map<std::string, std::pair<std::string, std::string>> values;  ///< group and name

    [[nodiscard]] std::pair<std::string, std::string> of(std::string_view name) const {
        const auto known = values.find(fold(name));
        return known == values.end() ? std::pair(group, std::string(name)) : known->second;
    }
};

Place locate(const KeyFile& file, std::string_view key) {
    Place place{.group = clean_path(key), .values = {}};
    const std::string wanted = fold(place.group);
    for (const std::string& group : file.groups()) {
        if (folded_path(group) != wanted) continue;
        place.group = group;
        for (const std::string& name : file.keys(group)) {
            place.values.insert_or_assign(fold(name), std::pair(group, name));
        }
    }
    return place;
}

/// The number of that name, 0 when there is none.
std::uint32_t counted(const KeyFile& file, const Place& place, std::string_view name) {
    const auto [group, key] = place.of(name);
    const auto text = file.get(group, key);
    const auto value = text ? parse_value(*text) : std::nullopt;
    const auto* number = value ? std::get_if<std::uint32_t>(&*value) : nullptr;
    return number != nullptr ? *number : 0;
}

/// Runs `change` on the file; its false means that a name or value cannot stand there.
Status update(const std::function<bool(KeyFile&)>& change, std::vector<KeyFile::Change>* changes = nullptr) {
    bool fits = true;
    const Status status = update_key_file(
        path(), [&](KeyFile& file) { return fits = change(file); }, changes);
    if (fits) return status;
    errno = EINVAL;
    return Status::failed;
}

}  // namespace

const std::string& path() {
    static const std::string& file = *new std::string(base::settings_folder() + "/registry.conf");
    return file;
}

Status check() {
    const Status status = current()->status;
    return status == Status::not_found ? Status::ok : status;
}

bool key_exists(std::string_view key) {
    const std::string wanted = folded_path(key);
    if (wanted.empty()) return true;
    const auto snapshot = current();
    if (snapshot->keys.contains(wanted)) return true;
    const auto below = snapshot->keys.lower_bound(wanted + '/');
    return below != snapshot->keys.end() && below->first.starts_with(wanted + '/');
}

std::optional<Value> get(std::string_view key, std::string_view name) {
    const auto snapshot = current();
    const auto values = snapshot->keys.find(folded_path(key));
    if (values == snapshot->keys.end()) return std::nullopt;
    const auto value = values->second.find(fold(name));
    return value == values->second.end() ? std::nullopt : value->second;
}

std::optional<std::uint32_t> get_dword(std::string_view key, std::string_view name) {
    const std::optional<Value> value = get(key, name);
    const auto* number = value ? std::get_if<std::uint32_t>(&*value) : nullptr;
    return number != nullptr ? std::optional(*number) : std::nullopt;
}

bool is_same_key(std::string_view one, std::string_view other) {
    return folded_path(one) == folded_path(other);
}

Status set(std::string_view key, std::span<const Entry> values, std::string_view counter,
           std::vector<KeyFile::Change>* changes) {
    const auto put_all = [&](KeyFile& file) {
        const Place place = locate(file, key);
        const auto put = [&](const Entry& entry) {
            const auto [group, name] = place.of(entry.name);
            return file.set(group, name, std::visit(Formatter{}, entry.value));
        };
        if (!std::ranges::all_of(values, put)) return false;
        return counter.empty() || put({std::string(counter), counted(file, place, counter) + 1});
    };
    return update(put_all, changes);
}

Status create_key(std::string_view key) {
    if (key_exists(key)) return Status::ok;
    return update([&](KeyFile& file) { return file.add_group(locate(file, key).group); });
}

}  // namespace zel::store::registry
