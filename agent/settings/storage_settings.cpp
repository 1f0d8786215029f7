// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage_settings.h"

#include <algorithm>
#include <limits>
#include <optional>

#include "merge.h"

namespace zel::settings {
namespace {

using store::KeyFile;

constexpr const ThresholdFile& kFile = kStorageFile;

StorageThresholdItem default_item(const StorageErrorKind& kind) {
    return {.fatal = kind.fatal, .warning = kind.warning, .state = STORAGE_STATE_ON};
}

std::optional<int> parse_threshold(std::string_view text) {
    const auto number = store::parse_int(text);
    if (!number || !kStorageThreshold.allows(static_cast<std::uint64_t>(*number))) return std::nullopt;
    return static_cast<int>(*number);
}

/// "on fatal 100 warning 50". One line for an item: with one for each number, a thousand devices took four
/// times as long to write.
std::optional<StorageThresholdItem> parse_item(std::string_view text) {
    std::array<std::string_view, 5> words;
    for (std::string_view& word : words) {
        const std::size_t end = std::min(text.find(' '), text.size());
        word = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    const auto fatal = parse_threshold(words[2]);
    const auto warning = parse_threshold(words[4]);
    const bool known = (words[0] == "on" || words[0] == "off") && words[1] == "fatal" &&
                       words[3] == "warning" && text.empty();
    if (!known || !fatal || !warning) return std::nullopt;
    return StorageThresholdItem{.fatal = *fatal,
                                .warning = *warning,
                                .state = words[0] == "on" ? STORAGE_STATE_ON : STORAGE_STATE_OFF};
}

std::string format_item(const StorageThresholdItem& item) {
    return std::string(item.state == STORAGE_STATE_ON ? "on" : "off") + " fatal " +
           std::to_string(item.fatal) + " warning " + std::to_string(item.warning);
}

/// The item as it is kept; nothing when it is missing or damaged.
std::optional<StorageThresholdItem> stored_item(const KeyFile& file, const std::string& group,
                                                const StorageErrorKind& kind) {
    const auto text = file.get(group, kind.name);
    const auto item = text ? parse_item(*text) : std::nullopt;
    return item && is_valid(*item) ? item : std::nullopt;
}

StorageThresholdItem read_item(const KeyFile& file, ThresholdReader& reader, const std::string& group,
                               const StorageErrorKind& kind) {
    if (const auto item = stored_item(file, group, kind)) return *item;
    reader.tell(group,
                std::string(kind.name) + " is not \"on fatal <n> warning <less>\", taken as by default");
    return default_item(kind);
}

StorageItems read_items(const KeyFile& file, ThresholdReader& reader, const std::string& group) {
    StorageItems items{};
    std::ranges::transform(kStorageKinds, items.begin(), [&](const StorageErrorKind& kind) {
        return read_item(file, reader, group, kind);
    });
    return items;
}

StorageThresholdItem merged_item(const StorageThresholdItem& wanted, const StorageThresholdItem& before,
                                 const StorageThresholdItem& held) {
    return {.fatal = merge(wanted.fatal, before.fatal, held.fatal),
            .warning = merge(wanted.warning, before.warning, held.warning),
            .state = merge(wanted.state, before.state, held.state)};
}

/// @param before  Null where the caller was not handed out the device.
bool put_items(KeyFile& file, const std::string& group, const StorageItems& items,
               const StorageItems* before) {
    for (std::size_t i = 0; i < kStorageKinds.size(); ++i) {
        const StorageErrorKind& kind = kStorageKinds.at(i);
        const auto held = before ? stored_item(file, group, kind) : std::nullopt;
        const auto item = held ? merged_item(items.at(i), before->at(i), *held) : items.at(i);
        const bool fits = !held || is_valid(item);
        if (!fits) tell_misfit(kFile, group);
        if (!fits || !file.set(group, kind.name, format_item(item))) return false;
    }
    return true;
}

}  // namespace

StorageItems storage_defaults() {
    StorageItems items{};
    std::ranges::transform(kStorageKinds, items.begin(), default_item);
    return items;
}

bool is_valid(const StorageThresholdItem& item) {
    return item.warning >= 0 && item.fatal > item.warning &&
           (item.state == STORAGE_STATE_ON || item.state == STORAGE_STATE_OFF);
}

bool are_valid(const StorageItems& items) {
    return std::ranges::all_of(items, [](const StorageThresholdItem& item) { return is_valid(item); });
}

store::Status read_storage(StorageSettings& settings) {
    KeyFile file;
    const store::Status status = load_thresholds(kFile, file);
    if (status == store::Status::failed) return status;
    ThresholdReader reader(file, kFile);
    settings = {.interval = reader.interval(), .devices = {}};
    for (const auto& [name, group] : groups_by_name(file, kFile.naming)) {
        settings.devices[name] = read_items(file, reader, group);
    }
    return status;
}

bool save_storage(const StorageSettings& settings, const std::optional<StorageSettings>& before,
                  const FoundNames& found) {
    const StorageSettings none;
    const StorageSettings& known = before ? *before : none;
    const auto change = [&](KeyFile& file) {
        const auto groups = groups_by_name(file, kFile.naming);
        bool fits = put_number(file, kGeneralGroup, kInterval, settings.interval, known.interval);
        for (const auto& [name, items] : settings.devices) {
            const auto was = known.devices.find(name);
            fits = fits && put_items(file, group_of(groups, kFile.naming, name), items,
                                     was != known.devices.end() ? &was->second : nullptr);
        }
        return fits && mark_present(file, kFile.naming, found);
    };
    return save_thresholds(kFile, change);
}

}  // namespace zel::settings
