// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage_settings.h"

#include <algorithm>

#include "store/paths.h"

namespace zel::access {
namespace {

using store::KeyFile;

constexpr Naming kNaming{.prefix = "device ", .name_start = "", .longest = STORAGE_NAME_SIZE - 1};

const std::string& path() {
    static const std::string& file = *new std::string(store::state_dir() + "/storage.conf");
    return file;
}

StorageThresholdItem default_item(const StorageErrorKind& kind) {
    return {.fatal = kind.fatal, .warning = kind.warning, .state = STORAGE_STATE_ON};
}

bool is_valid(const StorageThresholdItem& item) {
    return item.warning >= 0 && item.fatal > item.warning &&
           (item.state == STORAGE_STATE_ON || item.state == STORAGE_STATE_OFF);
}

StorageThresholdItem read_item(ThresholdReader& reader, const std::string& group,
                               const StorageErrorKind& kind) {
    constexpr std::array<std::string_view, 2> kWords{"true", "false"};
    const std::string name = kind.name;
    StorageThresholdItem item{.fatal = reader.number(group, name + ".fatal", {}, kind.fatal),
                              .warning = reader.number(group, name + ".warning", {}, kind.warning),
                              .state = reader.word(group, name + ".enabled", kWords, 0) == 0
                                           ? STORAGE_STATE_ON
                                           : STORAGE_STATE_OFF};
    if (!is_valid(item)) {
        reader.tell(group, name + ".fatal is not above " + name + ".warning, both taken as by default");
        item.fatal = kind.fatal;
        item.warning = kind.warning;
    }
    return item;
}

StorageItems read_items(ThresholdReader& reader, const std::string& group) {
    StorageItems items{};
    std::ranges::transform(kStorageKinds, items.begin(),
                           [&](const StorageErrorKind& kind) { return read_item(reader, group, kind); });
    return items;
}

bool put_items(KeyFile& file, const std::string& group, const StorageItems& items) {
    bool fits = true;
    for (std::size_t i = 0; i < kStorageKinds.size(); ++i) {
        const std::string name = kStorageKinds.at(i).name;
        const StorageThresholdItem& item = items.at(i);
        fits = fits && file.set_int(group, name + ".fatal", item.fatal) &&
               file.set_int(group, name + ".warning", item.warning) &&
               file.set(group, name + ".enabled", item.state == STORAGE_STATE_ON ? "true" : "false");
    }
    return fits;
}

}  // namespace

StorageItems storage_defaults() {
    StorageItems items{};
    std::ranges::transform(kStorageKinds, items.begin(), default_item);
    return items;
}

bool are_valid(const StorageItems& items) {
    return std::ranges::all_of(items, is_valid);
}

store::Status read_storage(StorageSettings& settings) {
    KeyFile file;
    const store::Status status = load_thresholds(path(), file);
    if (status == store::Status::failed) return status;
    ThresholdReader reader(file, path());
    settings = {.interval = reader.interval(), .devices = {}};
    for (const auto& [name, group] : groups_by_name(file, kNaming)) {
        settings.devices[name] = read_items(reader, group);
    }
    return status;
}

bool save_storage(const StorageSettings& settings, const FoundNames& found) {
    return save_thresholds(path(), [&](KeyFile& file) {
        const auto groups = groups_by_name(file, kNaming);
        bool fits = file.set_int(kGeneralGroup, kIntervalKey, settings.interval);
        for (const auto& [name, items] : settings.devices) {
            fits = fits && put_items(file, group_of(groups, kNaming, name), items);
        }
        return fits && mark_present(file, kNaming, found);
    });
}

}  // namespace zel::access
