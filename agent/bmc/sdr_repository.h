// SPDX-License-Identifier: GPL-3.0-or-later
// Reading the controller's repository of sensor data records.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "controller.h"

namespace zel::bmc {

using Record = std::vector<std::uint8_t>;

struct Repository {
    std::string identity;         ///< Its state, the same before and after it was read.
    std::vector<Record> records;  ///< Those that may be about temperature and voltage sensors.
};

/// The answer to Get Device ID, eleven bytes or more, asked for once in ten seconds. Nothing, with the reason
/// traced, when the controller does not say.
std::optional<std::vector<std::uint8_t>> device_id(Controller& controller);

/// Names the controller and the state of its repository: another text means that something may have changed.
/// Two requests, within ten seconds of the last time one. Nothing, with the reason traced, when the
/// controller cannot say.
std::optional<std::string> repository_identity(Controller& controller);

/// Reads the records, three requests for one that matters and one for any other, and begins again, no more
/// than twice, when the repository changed meanwhile. Records that are shorter than they say are traced and
/// left out. Nothing, with the reason traced, when the controller gave less than all: no answer, a refusal
/// that stays, a repository that goes on changing.
/// @param identity  What repository_identity said just now.
std::optional<Repository> read_repository(Controller& controller, std::string identity);

/// Bytes as hexadecimal digits.
std::string to_hex(std::span<const std::uint8_t> bytes);

}  // namespace zel::bmc
