// SPDX-License-Identifier: GPL-3.0-or-later
#include "left_behind.h"

#include <cerrno>

#include "base/own_folder.h"
#include "base/paths.h"
#include "store/key_file.h"

namespace zel::watchdog {
namespace {

constexpr const char* kGroup = "shutdown";

std::string path() {
    return base::watchdog_kept_folder() + "/watchdog.shutdown";
}

}  // namespace

std::optional<ShutdownTimer> read_shutdown_timer() {
    store::KeyFile file;
    if (store::read_key_file(path(), file) != store::Status::ok) return std::nullopt;
    const auto setting = bmc::timer_setting_of(file.get(kGroup, "setting").value_or(""));
    if (!setting) return std::nullopt;
    return ShutdownTimer{*setting, file.get(kGroup, "boot").value_or("")};
}

bool keep_shutdown_timer(const ShutdownTimer& timer) {
    store::KeyFile file;
    return file.set(kGroup, "setting", bmc::to_text(timer.setting)) && file.set(kGroup, "boot", timer.boot) &&
           base::make_private_dir(base::watchdog_kept_folder()) &&
           store::replace_file(path(), file.serialise());
}

bool forget_shutdown_timer() {
    const auto folder = base::OwnFolder::open(base::watchdog_kept_folder());
    return folder && (folder.remove(base::last_name(path())) || errno == ENOENT);
}

}  // namespace zel::watchdog
