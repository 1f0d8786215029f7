// SPDX-License-Identifier: GPL-3.0-or-later
// Having the agent's service reload settings that were just written.
#pragma once

#include <string>

namespace zel::client {

/// Sends "reset <resource>" to the service and waits a second at the longest. False, and logged,
/// when it gave no answer or could not do it.
bool reset_service(const std::string& resource);

}  // namespace zel::client
