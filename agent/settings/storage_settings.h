// SPDX-License-Identifier: GPL-3.0-or-later
// The storage threshold file, for the library that reads and writes it and the service that takes it up.
//
//   [general]
//   interval=60
//   [device sda]
//   recoverable=on fatal 100 warning 50
//   ...                                   the same for nonrecoverable, media and hardware
//   present=true
#pragma once

#include <array>
#include <limits>
#include <map>
#include <optional>
#include <string>

#include "threshold_file.h"
#include "zel/access_monitor.h"

inline bool operator==(const StorageThresholdItem& one, const StorageThresholdItem& other) {
    return one.fatal == other.fatal && one.warning == other.warning && one.state == other.state;
}

namespace zel::settings {

inline constexpr ThresholdFile kStorageFile{
    .name = "storage.conf",
    .resource = "storage",
    .naming = {.prefix = "device ", .name_start = "", .longest = STORAGE_NAME_SIZE - 1}};

/// Thresholds of one device, in the order of the kinds of errors.
using StorageItems = std::array<StorageThresholdItem, STORAGE_ERROR_KINDS>;

struct StorageSettings {
    int interval = 0;
    std::map<std::string, StorageItems> devices;  ///< By name; also of those that are not present.
};

/// One kind of errors: its name in the file, and the thresholds that a device starts from.
struct StorageErrorKind {
    const char* name;
    int fatal;
    int warning;
};

inline constexpr std::array<StorageErrorKind, STORAGE_ERROR_KINDS> kStorageKinds{{
    {"recoverable", 100, 50},
    {"nonrecoverable", 10, 5},
    {"media", 10, 5},
    {"hardware", 10, 5},
}};

/// What one threshold may be.
inline constexpr Value kStorageThreshold = number("", "", 0, std::numeric_limits<std::int32_t>::max(), 0);

/// What a device starts from.
StorageItems storage_defaults();

/// True when the thresholds fit together.
bool is_valid(const StorageThresholdItem& item);

/// True when all items can be saved: fatal > warning >= 0, and switched on or off.
bool are_valid(const StorageItems& items);

/// Reads the file; a damaged item reads as its default. Nothing is saved in a missing file or one that does
/// not parse; `settings` is untouched when the file cannot be read (`failed`).
store::Status read_storage(StorageSettings& settings);

/// Writes interval and devices in one replacement; devices of the file that `settings` does not name keep
/// their thresholds. False when that failed; the file then stands as it was.
/// @param before  What the caller was handed out: values that it left so stay as somebody else has changed them
///                since. Where an item would not be valid with both writers' values, nothing is written.
bool save_storage(const StorageSettings& settings, const std::optional<StorageSettings>& before,
                  const FoundNames& found);

}  // namespace zel::settings
