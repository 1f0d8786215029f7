// SPDX-License-Identifier: GPL-3.0-or-later
#include "boot_mark.h"

#include <pthread.h>

#include <array>
#include <cstring>

#include "base/own_folder.h"
#include "base/paths.h"
#include "settings/registry_values.h"
#include "zel/trace.h"

namespace zel::bmc {
namespace {

constexpr const char* kModule = "boot_mark";
constexpr const char* kKey = "SOFTWARE/QUD/ZELAgent/Maintenance";
constexpr std::uint32_t kNothingKept = 256;
constexpr settings::Text kController{kKey, "Controller", "", ""};
constexpr auto kChanging = settings::flag("Changing", "", false);
constexpr auto kClearing = settings::number("Clearing", "", 0, kNothingKept, kNothingKept);
constexpr std::array kEndingSignals{SIGHUP, SIGTERM, SIGINT, SIGQUIT};

}  // namespace

BootMark read_boot_mark(const std::string& controller) {
    BootMark mark{.controller = controller};
    if (settings::read_text(kController) != controller) return mark;
    mark.changing = settings::read_number(kKey, kChanging) == 1;
    const auto clearing = settings::read_number(kKey, kClearing);
    if (clearing != kNothingKept) mark.clearing = static_cast<std::uint8_t>(clearing);
    return mark;
}

bool write_boot_mark(const BootMark& mark) {
    using store::registry::Entry;
    return settings::write_values(
        kKey,
        std::array{Entry{kController.name, mark.controller}, Entry{kChanging.name, mark.changing ? 1U : 0U},
                   Entry{kClearing.name, mark.clearing ? std::uint32_t{*mark.clearing} : kNothingKept}});
}

base::UniqueFd lock_boot_options(std::chrono::milliseconds longest) {
    const std::string path = base::settings_folder() + "/boot_options.lock";
    if (auto file = base::take_own_lock(path, longest)) return file;
    ZEL_TRACE(TRACE_LEVEL_RESOURCE, "%s: %s.", path.c_str(), std::strerror(errno));
    return {};
}

EndHeldBack::EndHeldBack() {
    sigemptyset(&ending_);
    for (const int signal : kEndingSignals)
        sigaddset(&ending_, signal);
    pthread_sigmask(SIG_BLOCK, &ending_, &before_);
}

EndHeldBack::~EndHeldBack() {
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

bool EndHeldBack::wanted() const {
    sigset_t waiting;
    sigpending(&waiting);
    for (const int signal : kEndingSignals) {
        if (sigismember(&waiting, signal) == 1 && sigismember(&before_, signal) == 0) return true;
    }
    return false;
}

}  // namespace zel::bmc
