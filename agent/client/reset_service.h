// SPDX-License-Identifier: GPL-3.0-or-later
// Having the agent's service take up settings that were just written.
#pragma once

#include <string>

namespace zel::client {

/// Sends "reset <resource>" to the service and waits a second at the longest. False, told in the trace log,
/// when it gave no answer or could not do it.
bool reset_service(const std::string& resource);

}  // namespace zel::client
