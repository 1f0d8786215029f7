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

std::optional<std::uint32_t> number_in(const std::optional<Value>& value) {
    const auto* number = value ? std::get_if<std::uint32_t>(&*value) : nullptr;
    return number != nullptr ? std::optional(*number) : std::nullopt;
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

// Of names that differ only in case, the last one of the file counts, here and in `Edit::Places` below.
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

thread_local std::shared_ptr<const Snapshot> pinned;

std::shared_ptr<const Snapshot> current() {
    if (pinned) return pinned;
    // Never destroyed: threads may still read while the process ends.
    static auto& file = *new CachedFile<Snapshot>(path());
    return file.current();
}

}  // namespace

/// Where keys and their values stand in the file, in the file's own spelling. Groups are folded once for all that
/// is asked; the names of a key when it is asked for.
class Edit::Places {
  public:
    explicit Places(KeyFile& file) : file_(file) {
        for (std::string& group : file.groups()) {
            std::string key = folded_path(group);
            groups_[std::move(key)].push_back(std::move(group));
        }
    }

    std::optional<Value> get(std::string_view key, std::string_view name) {
        const auto& names = of(key).names;
        const auto known = names.find(fold(name));
        const auto text =
            known != names.end() ? file_.get(known->second.group, known->second.name) : std::nullopt;
        return text ? parse_value(*text) : std::nullopt;
    }

    bool set(std::string_view key, std::string_view name, const Value& value) {
        Place& place = of(key);
        const auto& spelling =
            place.names.try_emplace(fold(name), Spelling{place.group, std::string(name)}).first->second;
        return file_.set(spelling.group, spelling.name, std::visit(Formatter{}, value));
    }

    bool add(std::string_view key) { return file_.add_group(of(key).group); }

  private:
    struct Spelling {
        std::string group;
        std::string name;
    };
    struct Place {
        std::string group;  ///< That of new values.
        std::unordered_map<std::string, Spelling> names;
    };

    Place& of(std::string_view key) {
        const std::string folded = folded_path(key);
        const auto [known, is_new] = places_.try_emplace(folded);
        if (is_new) known->second = find(key, folded);
        return known->second;
    }

    Place find(std::string_view key, const std::string& folded) {
        Place place{.group = clean_path(key), .names = {}};
        const auto groups = groups_.find(folded);
        if (groups == groups_.end()) return place;
        place.group = groups->second.back();
        for (const std::string& group : groups->second) {
            for (std::string& name : file_.keys(group)) {
                std::string plain = fold(name);
                place.names.insert_or_assign(std::move(plain), Spelling{group, std::move(name)});
            }
        }
        return place;
    }

    KeyFile& file_;
    std::unordered_map<std::string, std::vector<std::string>> groups_;
    std::unordered_map<std::string, Place> places_;
};

Edit::Edit(KeyFile& file) : places_(std::make_unique<Places>(file)) {}
Edit::~Edit() = default;

std::optional<Value> Edit::get(std::string_view key, std::string_view name) const {
    return places_->get(key, name);
}

bool Edit::set(std::string_view key, std::string_view name, const Value& value) {
    return places_->set(key, name, value);
}

bool Edit::count(std::string_view key, std::string_view name) {
    return set(key, name, number_in(get(key, name)).value_or(0) + 1);
}

bool Edit::add(std::string_view key) {
    return places_->add(key);
}

const std::string& path() {
    static const std::string& file = *new std::string(base::settings_folder() + "/registry.conf");
    return file;
}

Status check() {
    const Status status = current()->status;
    return status == Status::not_found ? Status::ok : status;
}

Pinned::Pinned() : outermost_(!pinned) {
    if (outermost_) pinned = current();
}

Pinned::~Pinned() {
    if (outermost_) pinned.reset();
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
    return number_in(get(key, name));
}

bool is_same_key(std::string_view one, std::string_view other) {
    return folded_path(one) == folded_path(other);
}

Status change(const std::function<bool(Edit&)>& edit, std::vector<KeyFile::Change>* changes) {
    bool fits = true;
    const auto run = [&](KeyFile& file) {
        Edit on(file);
        return fits = edit(on);
    };
    const Status status = update_key_file(path(), run, changes);
    if (fits) return status;
    errno = EINVAL;
    return Status::failed;
}

Status set(std::string_view key, std::span<const Entry> values, std::vector<KeyFile::Change>* changes) {
    const auto put_all = [&](Edit& edit) {
        return std::ranges::all_of(
            values, [&](const Entry& entry) { return edit.set(key, entry.name, entry.value); });
    };
    return change(put_all, changes);
}

Status create_key(std::string_view key) {
    if (key_exists(key)) return Status::ok;
    return change([&](Edit& edit) { return edit.add(key); });
}

}  // namespace zel::store::registry
