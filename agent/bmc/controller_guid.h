// SPDX-License-Identifier: GPL-3.0-or-later
// Which controller it is that answers, whatever its address and its firmware's version are by now.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "controller.h"

namespace zel::bmc {

/// The controller's GUID, or else its server's, as hexadecimal digits; empty when it has none, or one that
/// makers leave in every board. Two requests at most. Nothing, with the reason traced, when the controller
/// does not answer or cannot say at present.
std::optional<std::string> read_guid(Controller& controller);

/// A text that stands for this controller: its GUID, and for one without, what is built in and where it is
/// reached, for the next server of the same model is another one.
/// @param device  As it answers Get Device ID; no less than eleven bytes.
std::string identity_of(const std::string& guid, const std::string& target,
                        const std::vector<std::uint8_t>& device);

}  // namespace zel::bmc
