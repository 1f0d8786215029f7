// SPDX-License-Identifier: GPL-3.0-or-later
#include "agent_config.h"

#include "base/paths.h"
#include "key_file.h"
#include "zel/trace.h"

namespace zel::store {

constexpr const char* kModule = "agent_config";

std::string configured(const std::string& group, const std::string& key, const std::string& fallback) {
    KeyFile config;
    const Status status = read_key_file(base::config_file(), config);
    if (status == Status::failed || status == Status::corrupt) {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "%s %s.", base::config_file().c_str(),
                  status == Status::corrupt ? "does not parse" : "cannot be read");
    }
    auto text = config.get(group, key);
    return text && !text->empty() ? *std::move(text) : fallback;
}

}  // namespace zel::store
