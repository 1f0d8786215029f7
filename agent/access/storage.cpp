// SPDX-License-Identifier: GPL-3.0-or-later
// Storage devices: the disks that the machine has, with the thresholds of the threshold file.
#include <algorithm>
#include <array>
#include <cstring>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "client/reset_service.h"
#include "handed_out.h"
#include "settings/storage_settings.h"
#include "system/disks.h"
#include "zel/access_monitor.h"
#include "zel/trace.h"

namespace {

namespace settings = zel::settings;
namespace client = zel::client;
using settings::StorageItems;
using zel::access::handed_out;

constexpr const char* kModule = "storage";
constexpr const char* kResource = "storage";
constexpr int kDone = 0;

/// Device numbers of the contract are rows of the table that a program last read; the machine's own list may
/// have changed since.
class Rows {
  public:
    static void keep(const std::vector<std::string>& names) {
        const std::lock_guard guard(mutex());
        names_() = names;
    }

    static std::optional<std::string> name(std::size_t row) {
        const std::lock_guard guard(mutex());
        const auto& names = names_();
        return row < names.size() ? std::optional(names[row]) : std::nullopt;
    }

  private:
    static std::mutex& mutex() {
        static std::mutex only;
        return only;
    }
    // Never destroyed: threads may still ask while the process ends.
    static std::vector<std::string>& names_() {
        static std::vector<std::string>& names = *new std::vector<std::string>;
        return names;
    }
};

/// Adds one row of a caller's tables; false when its name or its thresholds cannot be saved.
bool add_row(settings::StorageSettings& settings, std::span<const char, STORAGE_NAME_SIZE> name,
             std::span<const StorageThresholdItem, STORAGE_ERROR_KINDS> values) {
    const std::size_t length = ::strnlen(name.data(), name.size());
    StorageItems items{};
    std::ranges::copy(values, items.begin());
    const bool valid = length > 0 && length < name.size() && settings::are_valid(items);
    if (valid) settings.devices.insert_or_assign(std::string(name.data(), length), items);
    return valid;
}

/// What a caller's tables hold; nothing, and logged, when they cannot be saved.
std::optional<settings::StorageSettings> from_tables(int interval, int count, const char (*names)[30],
                                                     const StorageThresholdItem (*values)[4]) {
    if (!settings::kInterval.allows(static_cast<std::uint64_t>(interval)) || count < 0 ||
        count > STORAGE_DEVICES_MAX || (count > 0 && (!names || !values))) {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "Refused: interval %d, %d devices.", interval, count);
        return std::nullopt;
    }
    settings::StorageSettings settings{.interval = interval, .devices = {}};
    for (int row = 0; row < count; ++row) {
        if (add_row(settings, names[row], values[row])) continue;
        ZEL_TRACE(TRACE_LEVEL_ERROR, "Refused: row %d is invalid.", row);
        return std::nullopt;
    }
    return settings;
}

/// The caller's tables were saved: of what it was handed out, that is what it has now.
void remember(const settings::StorageSettings& saved, settings::StorageSettings known) {
    known.interval = saved.interval;
    for (auto& [name, items] : known.devices)
        if (const auto now = saved.devices.find(name); now != saved.devices.end()) items = now->second;
    handed_out<settings::StorageSettings>().keep(known);
}

std::string start_again_with(const std::string& device) {
    return std::string(kResource) + ' ' + settings::escape_name(device);
}

/// Saves a caller's tables and has the service take them up.
/// @param own  The row that is the caller's own in all its values; nothing where none is.
int write_tables(int interval, int count, const char (*names)[30], const StorageThresholdItem (*values)[4],
                 std::optional<int> own) {
    const auto settings = from_tables(interval, count, names, values);
    if (!settings) return STORAGE_WRITE_FAILED;
    settings::FoundNames found;
    if (const auto disks = zel::system::list_disks()) found.emplace(disks->begin(), disks->end());
    const auto known = handed_out<settings::StorageSettings>().last();
    auto before = known;
    if (before && own) before->devices.erase(names[*own]);
    if (!settings::save_storage(*settings, before, found)) return STORAGE_WRITE_FAILED;
    if (known) remember(*settings, *known);
    if (!client::reset_service(kResource)) return STORAGE_NO_SERVICE;
    // A device that has its defaults again has no errors either. One that is gone by now needs no telling.
    if (own) client::reset_service(start_again_with(names[*own]));
    return kDone;
}

}  // namespace

extern "C" int ReadThresholdFromFile(int* interval, int* count, char (*HD)[30],
                                     StorageThresholdItem (*value)[4]) try {
    if (!interval || !count || !HD || !value) return 0;
    *count = 0;
    settings::StorageSettings settings;
    const auto disks = zel::system::list_disks();
    if (!disks || settings::read_storage(settings) == zel::store::Status::failed) return 0;
    Rows::keep(*disks);
    *interval = settings.interval;
    settings::StorageSettings given{.interval = settings.interval, .devices = {}};
    for (std::size_t row = 0; row < disks->size(); ++row) {
        const std::string& name = disks->at(row);
        const auto saved = settings.devices.find(name);
        const StorageItems items =
            saved != settings.devices.end() ? saved->second : settings::storage_defaults();
        given.devices.insert_or_assign(name, items);
        std::ranges::copy(items, value[row]);
        HD[row][name.copy(HD[row], STORAGE_NAME_SIZE - 1)] = '\0';
    }
    handed_out<settings::StorageSettings>().keep(given);
    *count = static_cast<int>(disks->size());
    return *count;
} catch (...) {
    return 0;
}

extern "C" int WriteThreshold(int interval, int count, char (*HD)[30], StorageThresholdItem (*value)[4]) try {
    return write_tables(interval, count, HD, value, std::nullopt);
} catch (...) {
    return STORAGE_WRITE_FAILED;
}

extern "C" int ResetStorageService(int deviceNumber) try {
    const auto name =
        deviceNumber > 0 ? Rows::name(static_cast<std::size_t>(deviceNumber) - 1) : std::nullopt;
    if (!name) {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "There is no device %d.", deviceNumber);
        return STORAGE_WRITE_FAILED;
    }
    return client::reset_service(start_again_with(*name)) ? kDone : STORAGE_NO_SERVICE;
} catch (...) {
    return STORAGE_NO_SERVICE;
}

extern "C" int SetDefaultStorageService(int interval, int count, char (*HD)[30],
                                        StorageThresholdItem (*value)[4], int device) try {
    if (device < 0 || device >= count || count > STORAGE_DEVICES_MAX || !HD || !value)
        return STORAGE_WRITE_FAILED;
    StorageItems before{};
    std::ranges::copy(std::span(value[device]), before.begin());
    std::ranges::copy(settings::storage_defaults(), value[device]);
    const int result = write_tables(interval, count, HD, value, device);
    if (result == STORAGE_WRITE_FAILED) std::ranges::copy(before, value[device]);
    return result;
} catch (...) {
    return STORAGE_WRITE_FAILED;
}
