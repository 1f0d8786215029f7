// SPDX-License-Identifier: GPL-3.0-or-later
#include "reset_service.h"

#include <chrono>

#include "service_client.h"
#include "zel/tracelog.h"

namespace zel::client {

bool reset_service(const std::string& resource) {
    constexpr std::chrono::seconds kPatience{1};
    const Answer answer = request("reset " + resource, std::chrono::steady_clock::now() + kPatience);
    if (answer.outcome == Outcome::ok) return true;
    TraceLog(TRACE_LEVEL_ERROR, "reset_service", __func__, __LINE__, "ZELntserver did not take up %s: %s.",
             resource.c_str(), answer.text.empty() ? "no answer" : answer.text.c_str());
    return false;
}

}  // namespace zel::client
