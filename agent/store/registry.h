// SPDX-License-Identifier: GPL-3.0-or-later
// The agent's registry: typed values under key paths, in `settings_folder()/registry.conf`.
//
//   [SOFTWARE/QUD/ZELAgent]
//   CurrentVersion=sz:4.1
//
// `\` and `/` separate alike, names compare without case (ASCII) and keep the spelling of their first
// writing. Types are written before the value: dword:300, sz:text, binary:0a0b0c. Reading is cheap: the
// parsed file is kept as long as its inode, size and modification time stay the same.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "key_file.h"

namespace zel::store::registry {

using Binary = std::vector<std::uint8_t>;
/// A value with its type: REG_DWORD, REG_SZ or REG_BINARY.
using Value = std::variant<std::uint32_t, std::string, Binary>;

struct Entry {
    std::string name;
    Value value;
};

/// The registry file's path.
const std::string& path();

/// `ok` when the registry can be read (an absent file is an empty registry), else `corrupt` or `failed`.
Status check();

/// While it lives, its thread reads the registry as it stands now, without looking at the file again: many values
/// belong together, and each look costs a system call.
class Pinned {
  public:
    Pinned();
    ~Pinned();
    Pinned(const Pinned&) = delete;
    Pinned& operator=(const Pinned&) = delete;

  private:
    bool outermost_;
};

/// True when the key or any key below it exists.
bool key_exists(std::string_view key);

/// The value, or nothing when the key, the value or a readable registry is missing, or the text after the
/// type does not fit the type.
std::optional<Value> get(std::string_view key, std::string_view name);
std::optional<std::uint32_t> get_dword(std::string_view key, std::string_view name);

/// The registry as it stands while a change holds its lock.
class Edit {
  public:
    explicit Edit(KeyFile& file);
    ~Edit();
    Edit(const Edit&) = delete;
    Edit& operator=(const Edit&) = delete;

    /// As registry::get, with what was set here already.
    [[nodiscard]] std::optional<Value> get(std::string_view key, std::string_view name) const;
    /// Sets one value, in the spelling that the file has. False when a name or the value cannot stand there.
    [[nodiscard]] bool set(std::string_view key, std::string_view name, const Value& value);
    /// Adds one to a number, which is 0 where there is none. False as for `set`.
    [[nodiscard]] bool count(std::string_view key, std::string_view name);
    /// Makes sure that the key exists, if without values. False when that cannot be its name.
    [[nodiscard]] bool add(std::string_view key);

  private:
    class Places;
    std::unique_ptr<Places> places_;
};

/// Reads and edits any number of keys in one durable replacement. `failed` leaves every value as it was.
/// @param edit     Its false leaves the file; the result is then `failed`, with EINVAL in errno.
/// @param changes  Receives what differs now, values with their types.
Status change(const std::function<bool(Edit&)>& edit, std::vector<KeyFile::Change>* changes = nullptr);

/// Writes all values under one key in one durable replacement. `failed` leaves every value as it was.
/// @param changes  Receives what differs now, values with their types.
Status set(std::string_view key, std::span<const Entry> values,
           std::vector<KeyFile::Change>* changes = nullptr);

/// True when two paths of keys are one key.
bool is_same_key(std::string_view one, std::string_view other);

/// Makes an empty key; nothing happens when it exists.
Status create_key(std::string_view key);

}  // namespace zel::store::registry
