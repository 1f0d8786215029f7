// SPDX-License-Identifier: GPL-3.0-or-later
// The sensor data records as they were last read, one file per controller in `own_state_folder()/sdr`:
// reading them again takes three requests a sensor, some seconds on a slow controller. A text file:
//
//   zelsdr 2 <controller and state of its repository>
//   guid <the controller's, in hexadecimal digits, or none>
//   <one record in hexadecimal digits>
//   ...
//   sum <of the lines before, 16 hexadecimal digits>
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "sdr_repository.h"

namespace zel::bmc {

struct SensorRecords {
    std::string guid;  ///< The controller's, empty for one without.
    std::vector<Record> records;
};

/// The records, from the file when the controller's repository is as it was then, else read again. A file that
/// is missing, damaged or cannot be written costs time only. Nothing, with the reason traced, when the
/// controller does not give all of them, within half a minute.
/// @param ask_guid  Asks the controller for its GUID in any case: another board of the same make may show
///                  the same repository.
std::optional<SensorRecords> sensor_records(Controller& controller, bool ask_guid = false);

}  // namespace zel::bmc
