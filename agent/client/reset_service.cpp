// SPDX-License-Identifier: GPL-3.0-or-later
#include "reset_service.h"

#include <chrono>

#include "service_client.h"
#include "zel/trace.h"

namespace zel::client {

constexpr const char* kModule = "reset_service";

bool reset_service(const std::string& resource) {
    constexpr std::chrono::seconds kPatience{1};
    const Answer answer = request("reset " + resource, std::chrono::steady_clock::now() + kPatience);
    if (answer.outcome == Outcome::ok) return true;
    ZEL_TRACE(TRACE_LEVEL_ERROR, "ZELntserver did not reload %s: %s.", resource.c_str(),
              answer.text.empty() ? "no answer" : answer.text.c_str());
    return false;
}

}  // namespace zel::client
