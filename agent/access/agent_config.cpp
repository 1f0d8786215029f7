// SPDX-License-Identifier: GPL-3.0-or-later
#include "agent_config.h"

#include "store/key_file.h"
#include "store/paths.h"
#include "zel/tracelog.h"

namespace zel::access {

std::string configured(const std::string& group, const std::string& key, const std::string& fallback) {
    store::KeyFile config;
    const store::Status status = store::read_key_file(store::config_file(), config);
    if (status == store::Status::failed || status == store::Status::corrupt) {
        TraceLog(TRACE_LEVEL_ERROR, "agent_config", __func__, __LINE__, "%s %s.",
                 store::config_file().c_str(),
                 status == store::Status::corrupt ? "does not parse" : "cannot be read");
    }
    auto text = config.get(group, key);
    return text && !text->empty() ? *std::move(text) : fallback;
}

}  // namespace zel::access
