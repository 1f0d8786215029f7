// SPDX-License-Identifier: GPL-3.0-or-later
// Going through the controller's repository of sensor data records once.
#pragma once

#include <optional>

#include "sdr_repository.h"

namespace zel::bmc {

/// The records that may be about temperature and voltage sensors. All or nothing, with the reason traced: a
/// list that lacks a sensor would be taken for whole.
std::optional<std::vector<Record>> read_records(Controller& controller);

}  // namespace zel::bmc
