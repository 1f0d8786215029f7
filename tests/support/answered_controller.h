// SPDX-License-Identifier: GPL-3.0-or-later
// Stands in for the way to the management controller, in programs that hold the access library's objects:
// each request goes to a function of the test's.
#pragma once

#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "bmc/controller.h"
#include "simulation.h"

namespace zel::test {

using Bytes = std::span<const std::uint8_t>;
using AnswerRequest =
    std::function<std::optional<bmc::Reply>(bmc::NetFn netfn, std::uint8_t command, Bytes data)>;

/// Who answers; nobody at first.
extern AnswerRequest answer_request;

/// Answers as a controller with these sensors.
AnswerRequest controller_with(std::vector<simulator::Sensor> sensors);

}  // namespace zel::test
