// SPDX-License-Identifier: GPL-3.0-or-later
// The controller's temperature and voltage sensors.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "controller.h"
#include "sdr_record.h"

namespace zel::bmc {

struct SensorList {
    std::string controller;  ///< Stands for this one, and after an update of its firmware too.
    std::vector<Sensor> sensors;
};

/// The sensors of one kind, in the order of the repository, those without readable thresholds last. Names are
/// distinct: of equal ones each gets its entity ("Temp (CPU 2)") or, where that does not help, LUN and number
/// ("Temp #0.17"). No more than `most`; what is left out is traced.
/// @param ask_guid  As for sensor_records.
/// @return Nothing, with the reason traced, when the controller does not answer.
std::optional<SensorList> find_sensors(Controller& controller, Kind kind, std::size_t most,
                                       bool ask_guid = false);

/// Makes the names distinct, as find_sensors does.
void make_names_distinct(std::span<Sensor> sensors);

}  // namespace zel::bmc
