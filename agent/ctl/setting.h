// SPDX-License-Identifier: GPL-3.0-or-later
// All settings as one list: each with its path, what it may be, and how it is taken from and put into the records that
// the settings' libraries read and write.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "bmc/sensors_state.h"
#include "path.h"
#include "settings/filesystem_settings.h"
#include "settings/storage_settings.h"
#include "settings/values.h"

namespace zel::ctl {

/// A setting's value; nothing for one that is not there, or not of a kind that settings are.
using Scalar = std::variant<std::monostate, bool, std::int64_t, std::string>;

inline bool is_nothing(const Scalar& value) {
    return std::holds_alternative<std::monostate>(value);
}

/// What an administrator chose for a sensor.
struct SensorChoice {
    std::uint32_t monitor = 0;  ///< As bmc::monitor_flag gives it.
    bmc::ThresholdValues values{};
    bool operator==(const SensorChoice&) const = default;
};

/// The values of all settings that were read.
struct Values {
    CpuCycleRecord cycle{};
    std::vector<CpuThresholdRow> cpus{};  ///< First the whole machine.
    LanSettingsRecord lan{};
    settings::EventlogRecord eventlog{};
    ShutdownRecord shutdown{};
    WdtRecord watchdog{};
    SnmpFlags snmp{};
    std::string community{};
    std::string rack{};
    std::string version{};
    int storage_interval = 0;
    std::vector<settings::StorageItems> disks{};
    int filesystem_interval = 0;
    std::vector<settings::FsSettings> filesystems{};
    int raid_interval = 0;
    std::vector<SensorChoice> sensors{};
};

/// What a setting may be.
struct Kind {
    enum class Type { number, flag, word, text } type = Type::number;
    std::int64_t least = 0;  ///< Of a number; of a text the most bytes stand in `greatest`.
    std::int64_t greatest = 0;
    settings::Unit unit = settings::Unit::none;
    std::vector<std::string> words{};
    std::string meaning{};
    bool read_only = false;
    bool secret = false;
};

struct Setting {
    Path path;
    std::shared_ptr<const Kind> kind;
    Scalar fallback;  ///< What it is without anybody's choice; nothing for what has no such value.
    std::function<Scalar(const Values&)> get;
    std::function<void(Values&, const Scalar&)> put;  ///< Of values that `fault_of` finds nothing wrong with.
};

/// What is wrong with a setting, or with something else where there is no path.
struct Problem {
    std::string path;
    std::string message;
    bool operator==(const Problem&) const = default;
};
using Problems = std::vector<Problem>;

/// A setting that is not, or shall not be, what it was.
struct Change {
    const Setting* setting;
    Scalar from;
    Scalar to;
};

/// What a document, or the arguments of a command, want.
struct Wish {
    Path path;
    Scalar value;
};

const char* unit_name(settings::Unit unit);
const char* type_name(Kind::Type type);

/// "1..3600", "none|nmi", "true|false", "at most 99 bytes".
std::string range_text(const Kind& kind);

/// A value as it is told. Its words are those that `parse_value` takes.
std::string value_text(const Scalar& value);

/// A value of this kind from what was typed; nothing when it is none.
Scalar parse_value(const Kind& kind, const std::string& text);

/// Why a value cannot be one of this kind; empty when it can.
std::string fault_of(const Kind& kind, const Scalar& value);

}  // namespace zel::ctl
