// SPDX-License-Identifier: GPL-3.0-or-later
// Stands in for the way to the management controller, in programs that hold the access library's objects:
// each request goes to a function of the test's.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "bmc/controller.h"
#include "simulation.h"

namespace zel::test {

using Bytes = std::span<const std::uint8_t>;
using AnswerRequest =
    std::function<std::optional<bmc::Reply>(bmc::NetFn netfn, std::uint8_t command, Bytes data)>;

/// Who answers; nobody at first.
extern AnswerRequest answer_request;
/// Where.
extern std::string answered_target;

/// A controller with sensors, all of which a test may change; std::ref(it) is one that answers.
struct PlayedController {
    std::vector<simulator::Sensor> sensors;
    std::vector<std::uint8_t> guid{};               ///< None: such commands are not known.
    std::uint8_t repository = 0;                    ///< A number of its state.
    std::map<std::uint8_t, std::uint8_t> refuse{};  ///< Commands and the completion codes that they get.
    std::vector<std::uint8_t> commands{};           ///< Those that came.

    std::optional<bmc::Reply> operator()(bmc::NetFn netfn, std::uint8_t command, Bytes data);
};

/// Answers as a controller with these sensors.
AnswerRequest controller_with(std::vector<simulator::Sensor> sensors);

}  // namespace zel::test
