// SPDX-License-Identifier: GPL-3.0-or-later
#include "sensor_list.h"

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <string>

#include "controller_guid.h"
#include "sdr_cache.h"
#include "zel/trace.h"

namespace zel::bmc {
namespace {

constexpr const char* kModule = "sensor_list";

struct EntityName {
    std::uint8_t entity;
    const char* name;
};
constexpr std::array kEntityNames{
    EntityName{0x03, "CPU"},     EntityName{0x04, "Disk"},         EntityName{0x07, "Board"},
    EntityName{0x08, "Memory"},  EntityName{0x0a, "Power Supply"}, EntityName{0x0b, "Card"},
    EntityName{0x13, "Power"},   EntityName{0x14, "VRM"},          EntityName{0x15, "Power Board"},
    EntityName{0x17, "Chassis"}, EntityName{0x1a, "Disk Bay"},     EntityName{0x1d, "Fan"},
    EntityName{0x20, "DIMM"},    EntityName{0x37, "Inlet"},        EntityName{0x40, "Inlet"},
    EntityName{0x41, "CPU"},     EntityName{0x42, "Baseboard"},
};

std::string number_suffix(const Sensor& sensor) {
    return '#' + sensor.place();
}

std::string with_entity(const Sensor& sensor) {
    for (const auto& known : kEntityNames) {
        if (known.entity == sensor.entity) {
            return sensor.name + " (" + known.name + ' ' + std::to_string(sensor.entity_instance) + ')';
        }
    }
    return sensor.name;
}

/// Renames all sensors that share their name with another one.
template <class Rename>
void rename_equals(std::span<Sensor> sensors, Rename rename) {
    std::map<std::string, int> count;
    for (const Sensor& sensor : sensors)
        ++count[sensor.name];
    for (Sensor& sensor : sensors) {
        if (count[sensor.name] > 1) sensor.name = rename(sensor);
    }
}

void trace_left_out(const Sensor& sensor, const char* why) {
    ZEL_TRACE(TRACE_LEVEL_ERROR, "Sensor %s %s left out: %s.", sensor.name.c_str(),
              number_suffix(sensor).c_str(), why);
}

}  // namespace

void make_names_distinct(std::span<Sensor> sensors) {
    for (Sensor& sensor : sensors) {
        if (sensor.name.empty()) sensor.name = number_suffix(sensor);
    }
    rename_equals(sensors, with_entity);
    rename_equals(sensors, [](const Sensor& sensor) { return sensor.name + ' ' + number_suffix(sensor); });
}

std::optional<SensorList> find_sensors(Controller& controller, Kind kind, std::size_t most, bool ask_guid) {
    const auto known = sensor_records(controller, ask_guid);
    const auto device = known ? device_id(controller) : std::nullopt;
    if (!device) return std::nullopt;
    SensorList list{.controller = identity_of(known->guid, controller.target(), *device), .sensors = {}};
    std::vector<Sensor>& sensors = list.sensors;
    std::set<std::uint16_t> seen;
    for (const Record& record : known->records) {
        auto [sensor, fault] = parse_record(record);
        if (fault) {
            ZEL_TRACE(TRACE_LEVEL_ERROR, "Record %s left out: %s.", to_hex(record).c_str(), fault);
        }
        if (!sensor || sensor->kind != kind) continue;
        if (seen.insert(sensor->id()).second) {
            sensors.push_back(*std::move(sensor));
        } else {
            trace_left_out(*sensor, "a record before it has the same number");
        }
    }
    // Those that can be neither monitored nor set: where room is short they go first.
    std::stable_partition(sensors.begin(), sensors.end(),
                          [](const Sensor& sensor) { return sensor.readable != 0; });
    for (std::size_t i = most; i < sensors.size(); ++i)
        trace_left_out(sensors[i], "more sensors than are handled");
    if (sensors.size() > most)
        sensors.erase(sensors.begin() + static_cast<std::ptrdiff_t>(most), sensors.end());
    make_names_distinct(sensors);
    return list;
}

}  // namespace zel::bmc
