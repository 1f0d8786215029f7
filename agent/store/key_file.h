// SPDX-License-Identifier: GPL-3.0-or-later
// Text key files that an administrator can read, compare and mend: the one store under the registry,
// the threshold files and the configuration.
//
// Writing is durable and atomic: a lock on `PATH.lock`, the file read again, the change made, a temporary
// file written and synced, renamed over the old one, and the folder synced. The lock is its owner's alone
// (0600), so that whoever may only read cannot hold up a writer. Readers take no lock: they see the old or the
// new file, never a mix. A file that does not parse, or is too large to, is kept aside as
// `PATH.corrupt-<time>` by the next writer and logged; it is never written over.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zel::store {

enum class Status {
    ok,         ///< Read or written.
    not_found,  ///< The file does not exist; the content is empty.
    corrupt,    ///< The file does not parse or is too large (key_file_read.h); the content is empty.
    failed,     ///< It could not be read, locked or written; errno says why. The file is as it was.
};

/// What a key file holds: groups of named text values, in the file's order. Lines that nobody changes stay as
/// they are, comments and spellings included.
///
///   # A comment.
///   [group]
///   key=value             blanks around key and value do not count; escapes: \s \t \n \r \\ in values
///
/// Of a key that stands twice in its group the last one counts; a group that stands twice is one.
/// Names of groups and keys are compared byte by byte here; the registry folds case above this layer.
class KeyFile {
  public:
    /// What `set` changed.
    struct Change {
        std::string group;
        std::string key;
        std::optional<std::string> before;  ///< Nothing where there was no value.
        std::string after;
    };

    KeyFile();
    ~KeyFile();
    KeyFile(KeyFile&&) noexcept;
    KeyFile& operator=(KeyFile&&) noexcept;

    /// Replaces the content by `text`. False (and an empty content) when it does not parse.
    bool parse(std::string_view text);
    /// The text that `parse` would read back.
    [[nodiscard]] std::string serialise() const;

    [[nodiscard]] std::vector<std::string> groups() const;
    [[nodiscard]] std::vector<std::string> keys(const std::string& group) const;
    [[nodiscard]] bool has_group(const std::string& group) const;

    /// The value, with the escapes of the file format undone; nothing when missing or not valid UTF-8.
    [[nodiscard]] std::optional<std::string> get(const std::string& group, const std::string& key) const;
    /// A decimal or 0x-prefixed whole number; nothing when missing, malformed or out of 64 bits.
    [[nodiscard]] std::optional<std::int64_t> get_int(const std::string& group, const std::string& key) const;

    /// False when a name or value cannot stand in a key file (control characters, brackets, not UTF-8 ...).
    bool set(const std::string& group, const std::string& key, const std::string& value);
    bool set_int(const std::string& group, const std::string& key, std::int64_t value);
    /// Gives away all changes since the text was parsed, in order.
    [[nodiscard]] std::vector<Change> take_changes();
    /// Makes sure that the group exists, if without values. False when that cannot be its name.
    bool add_group(const std::string& group);
    /// Removes a group, if it exists, with its values; comments below its last value stay.
    void remove_group(const std::string& group);

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

/// Reads a key file as it stands now.
Status read_key_file(const std::string& path, KeyFile& out);

/// Reads, lets `change` edit, and replaces the file durably, all under the file's lock. `change` returns
/// false to leave the file as it is (the result is then `ok` and nothing is written). When the content
/// after `change` equals the one before, nothing is written either. Never `corrupt` or `not_found`: such
/// files start from an empty content (a corrupt one is kept aside first).
/// @param changes  Receives what was changed, where something was written.
Status update_key_file(const std::string& path, const std::function<bool(KeyFile&)>& change,
                       std::vector<KeyFile::Change>* changes = nullptr);

/// Writes `bytes` to a temporary file beside `path`, syncs it, renames it over `path` and syncs the folder.
/// Mode 0600; 0640 with the folder's group where the folder's mode is 0750 and that is not the process's own. False with errno set when any
/// step failed; the old file then stands untouched, except that a failure of the very last step (a disk that
/// cannot sync the folder) is reported with the new file in place.
bool replace_file(const std::string& path, std::string_view bytes);

/// Parses a whole decimal or 0x-prefixed number, with sign; nothing on overflow or trailing characters.
std::optional<std::int64_t> parse_int(std::string_view text);

}  // namespace zel::store
