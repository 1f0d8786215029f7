// SPDX-License-Identifier: GPL-3.0-or-later
#include "key_file.h"

#include <glib.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <limits>
#include <system_error>

namespace zel::store {
namespace {

struct Free {
    void operator()(GKeyFile* file) const { g_key_file_unref(file); }
    void operator()(GError* error) const { g_error_free(error); }
    void operator()(gchar* text) const { g_free(text); }
    void operator()(gchar** list) const { g_strfreev(list); }
};
using Text = std::unique_ptr<gchar, Free>;
using TextList = std::unique_ptr<gchar*, Free>;

std::vector<std::string> to_vector(const TextList& list, gsize count) {
    return list ? std::vector<std::string>(list.get(), list.get() + count) : std::vector<std::string>{};
}

bool is_control(char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
}

bool is_utf8(const std::string& text) {
    return g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr) != FALSE;
}

bool is_name(const std::string& name) {
    return !name.empty() && is_utf8(name) && std::ranges::none_of(name, is_control) &&
           name.find_first_of("[]") == std::string::npos;
}

bool is_key(const std::string& key) {
    return is_name(key) && key.find('=') == std::string::npos && key.front() != '#' && key.front() != ' ' &&
           key.back() != ' ' && key != "Encoding";  // GLib gives that name a meaning of its own
}

bool is_value(const std::string& value) {
    const auto unfit = [](char c) { return is_control(c) && c != '\t' && c != '\n' && c != '\r'; };
    return is_utf8(value) && std::ranges::none_of(value, unfit);
}

}  // namespace

struct KeyFile::Impl {
    std::unique_ptr<GKeyFile, Free> file{g_key_file_new()};
    std::string group;  // the last one that values were set in, known to be a good name
};

KeyFile::KeyFile() : impl_(std::make_unique<Impl>()) {}
KeyFile::~KeyFile() = default;
KeyFile::KeyFile(KeyFile&&) noexcept = default;
KeyFile& KeyFile::operator=(KeyFile&&) noexcept = default;

bool KeyFile::parse(std::string_view text) {
    // Translations are kept too: without that GLib drops "name[de]" of a language that is not ours.
    constexpr auto keep_all =
        static_cast<GKeyFileFlags>(G_KEY_FILE_KEEP_COMMENTS | G_KEY_FILE_KEEP_TRANSLATIONS);
    impl_ = std::make_unique<Impl>();
    if (text.find('\0') != std::string_view::npos) return false;
    if (text.empty()) return true;
    if (g_key_file_load_from_data(impl_->file.get(), text.data(), text.size(), keep_all, nullptr))
        return true;
    impl_ = std::make_unique<Impl>();
    return false;
}

std::string KeyFile::serialise() const {
    gsize size = 0;
    const Text text(g_key_file_to_data(impl_->file.get(), &size, nullptr));
    return {text.get(), size};
}

std::vector<std::string> KeyFile::groups() const {
    gsize count = 0;
    const TextList list(g_key_file_get_groups(impl_->file.get(), &count));
    return to_vector(list, count);
}

std::vector<std::string> KeyFile::keys(const std::string& group) const {
    gsize count = 0;
    const TextList list(g_key_file_get_keys(impl_->file.get(), group.c_str(), &count, nullptr));
    return to_vector(list, count);
}

bool KeyFile::has_group(const std::string& group) const {
    return g_key_file_has_group(impl_->file.get(), group.c_str()) != FALSE;
}

std::optional<std::string> KeyFile::get(const std::string& group, const std::string& key) const {
    GError* failure = nullptr;
    const Text text(g_key_file_get_string(impl_->file.get(), group.c_str(), key.c_str(), &failure));
    // GLib may hand out what stands before a wrong escape together with the error.
    const std::unique_ptr<GError, Free> error(failure);
    if (error || !text) return std::nullopt;
    return text.get();
}

std::optional<std::int64_t> KeyFile::get_int(const std::string& group, const std::string& key) const {
    const std::optional<std::string> text = get(group, key);
    return text ? parse_int(*text) : std::nullopt;
}

bool KeyFile::set(const std::string& group, const std::string& key, const std::string& value) {
    if (group != impl_->group && !is_name(group)) return false;
    if (!is_key(key) || !is_value(value)) return false;
    impl_->group = group;
    g_key_file_set_string(impl_->file.get(), group.c_str(), key.c_str(), value.c_str());
    return true;
}

bool KeyFile::set_int(const std::string& group, const std::string& key, std::int64_t value) {
    return set(group, key, std::to_string(value));
}

bool KeyFile::remove_group(const std::string& group) {
    return g_key_file_remove_group(impl_->file.get(), group.c_str(), nullptr) != FALSE;
}

bool KeyFile::remove_key(const std::string& group, const std::string& key) {
    return g_key_file_remove_key(impl_->file.get(), group.c_str(), key.c_str(), nullptr) != FALSE;
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
