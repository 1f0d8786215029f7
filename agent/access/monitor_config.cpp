// SPDX-License-Identifier: GPL-3.0-or-later
#include "monitor_config.h"

#include "store/key_file.h"
#include "store/paths.h"

namespace zel::access {

std::string monitor_path(const std::string& key, const std::string& fallback) {
    store::KeyFile config;
    store::read_key_file(store::config_file(), config);  // one that cannot be read is empty
    const auto path = config.get("monitor", key);
    return path && !path->empty() ? *path : fallback;
}

}  // namespace zel::access
