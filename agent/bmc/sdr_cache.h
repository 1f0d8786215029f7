// SPDX-License-Identifier: GPL-3.0-or-later
// The sensor data records as they were last read, one file per controller in `own_state_folder()/sdr`:
// reading them anew takes three requests a sensor, some seconds on a slow controller. A text file:
//
//   zelsdr 1 <controller and state of its repository>
//   <one record in hexadecimal digits>
//   ...
//   sum <of the lines before, 16 hexadecimal digits>
#pragma once

#include <optional>
#include <vector>

#include "sdr_repository.h"

namespace zel::bmc {

/// The records, from the file when the controller's repository is as it was then, else read anew. A file that
/// is missing, damaged or cannot be written costs time only. Nothing, with the reason traced, when the
/// controller does not answer.
std::optional<std::vector<Record>> sensor_records(Controller& controller);

}  // namespace zel::bmc
