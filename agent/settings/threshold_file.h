// SPDX-License-Identifier: GPL-3.0-or-later
// What the threshold files have in common: key files with one group per watched thing, named after it, whose
// values an administrator may have mended or damaged by hand.
//
//   [general]
//   interval=60                 seconds between two samples
//   [device sda]                a prefix and the thing's name
//   present=true                false: not found when the file was written; its thresholds are kept
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "store/key_file.h"
#include "values.h"

namespace zel::settings {

inline constexpr const char* kGeneralGroup = "general";
inline constexpr const char* kPresentKey = "present";

/// Names of the things that were found; nothing when it is not known what is there.
using FoundNames = std::optional<std::set<std::string>>;

/// `name` as a group's name can hold it: '%', brackets, control characters, and in a name that is not UTF-8
/// all bytes beyond ASCII, become a percent sign and two hexadecimal digits.
std::string escape_name(std::string_view name);

/// Undoes `escape_name`. A percent sign that no such pair follows stands for itself.
std::string unescape_name(std::string_view text);

/// How the watched things of a file are named: what their groups start with, then what their names start
/// with, and the longest name in bytes.
struct Naming {
    std::string_view prefix;
    std::string_view name_start;
    std::size_t longest;
};

/// One of the files: its name in the settings' folder, the resource that it is about, and what its groups are called.
struct ThresholdFile {
    const char* name;
    const char* resource;
    Naming naming;

    [[nodiscard]] std::string path() const;
};

/// The groups of the watched things, by name. Of two groups for one name the first counts; a group whose own
/// name is damaged stands for nothing.
std::map<std::string, std::string> groups_by_name(const store::KeyFile& file, const Naming& naming);

/// The name of the thing that a group is about; nothing when it is about none.
std::optional<std::string> name_of_group(const std::string& group, const Naming& naming);

/// The name's group, under the spelling that the file already has.
std::string group_of(const std::map<std::string, std::string>& groups, const Naming& naming,
                     const std::string& name);

/// Marks each watched thing of the file as present or not. When it is not known what is there, things marked
/// already keep their mark, new ones count as present. False when a mark cannot be written.
bool mark_present(store::KeyFile& file, const Naming& naming, const FoundNames& found);

/// As store::read_key_file; a file that cannot be read is logged here, one that does not parse
/// (the next writer keeps it aside) there.
store::Status load_thresholds(const ThresholdFile& from, store::KeyFile& file);

/// True for a file whose settings count: a missing one has the defaults.
inline bool is_readable(store::Status status) {
    return status == store::Status::ok || status == store::Status::not_found;
}

/// Has `change` edit the file, replaces it and logs what changed; false, and logged, when that failed or `change`
/// returned false.
bool save_thresholds(const ThresholdFile& to, const std::function<bool(store::KeyFile&)>& change);

/// The numbers that a value of a file may be.
struct Range {
    int least = 0;
    int greatest = std::numeric_limits<int>::max();

    static constexpr Range of(const Value& value) {
        return {static_cast<int>(value.least), static_cast<int>(value.greatest)};
    }
};

/// A number of the file; nothing when it is missing or invalid.
std::optional<int> valid_number(const store::KeyFile& file, const std::string& group, const std::string& key,
                                Range range);

/// Sets a number, unless the caller was handed out the same and the file holds another valid one by now.
/// @param before  What the caller was handed out; nothing where it was not.
bool put_number(store::KeyFile& file, const std::string& group, const Value& value, int wanted,
                std::optional<int> before);

/// Tells in the trace that a group's settings are refused for what somebody else has written.
void tell_misfit(const ThresholdFile& file, const std::string& group);

/// Takes values out of a key file. What is missing or invalid is logged, up to a bound, and reads
/// as its fallback; a group that does not exist is silent.
class ThresholdReader {
  public:
    /// @param file  Kept by reference.
    ThresholdReader(const store::KeyFile& file, const ThresholdFile& from)
        : file_(file), path_(from.path()) {}
    ~ThresholdReader();
    ThresholdReader(const ThresholdReader&) = delete;
    ThresholdReader& operator=(const ThresholdReader&) = delete;

    int number(const std::string& group, const std::string& key, Range range, int fallback);
    int number(const std::string& group, const Value& value) {
        return number(group, value.name, Range::of(value), static_cast<int>(value.fallback));
    }
    /// The position of the value among `words`.
    std::size_t word(const std::string& group, const std::string& key,
                     std::span<const std::string_view> words, std::size_t fallback);
    /// Seconds between two samples.
    int interval() { return number(kGeneralGroup, kInterval); }
    /// Logs a group whose values do not fit together.
    void tell(const std::string& group, const std::string& what);

  private:
    const store::KeyFile& file_;
    std::string path_;
    std::size_t told_ = 0;
};

}  // namespace zel::settings
