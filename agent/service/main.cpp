// SPDX-License-Identifier: GPL-3.0-or-later
// ZELntserver, the agent's service: holds the settings of the monitored resources, takes changes up when it
// is told, and answers to those who want to know whether it runs.
#include <strings.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <string_view>

#include "bmc/settings.h"
#include "controller_watch.h"
#include "event_watch.h"
#include "log.h"
#include "resources.h"
#include "server.h"
#include "store/file_io.h"
#include "store/key_file.h"
#include "store/key_file_read.h"
#include "store/own_folder.h"
#include "store/paths.h"
#include "store/registry.h"
#include "zel/tracelog.h"

namespace zel::service {
namespace {

constexpr const char* kVersion = "ZELntserver " ZEL_VERSION;
constexpr const char* kUsage = "usage: ZELntserver [--foreground | --help | --version]\n";

bool make_folders() {
    for (const std::string& folder : {store::state_dir(), store::runtime_dir()}) {
        if (store::make_private_dir(folder)) continue;
        log(folder + ": " + std::strerror(errno));
        return false;
    }
    return true;
}

/// Makes sure that this is the only service on these folders. No descriptor, and logged, when it is not.
store::UniqueFd take_lock() {
    const std::string path = store::runtime_dir() + "/zelntserver.lock";
    auto file = store::take_own_lock(path, std::chrono::milliseconds(0));
    if (file) return file;
    log(errno == ETIMEDOUT ? "ZELntserver is already running" : path + ": " + std::strerror(errno));
    return {};
}

/// A descriptor that tells of the signals to end and to read everything anew.
store::UniqueFd redirect_signals() {
    std::signal(SIGPIPE, SIG_IGN);
    sigset_t signals;
    sigemptyset(&signals);
    for (const int one : {SIGTERM, SIGINT, SIGHUP})
        sigaddset(&signals, one);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    store::UniqueFd file(::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!file) log(std::string("signalfd: ") + std::strerror(errno));
    return file;
}

/// True when the registry file has a text for this value. Asked of the file itself: a value whose type an
/// administrator forgot reads as missing, and yet it must not be written over.
bool stands_in_registry(std::string_view key, const char* name) {
    store::KeyFile file;
    store::read_key_file(store::registry::path(), file);
    return std::ranges::any_of(file.groups(), [&](const std::string& group) {
        std::string path = group;
        std::ranges::replace(path, '\\', '/');
        return ::strcasecmp(path.c_str(), std::string(key).c_str()) == 0 &&
               std::ranges::any_of(file.keys(group), [&](const std::string& one) {
                   return ::strcasecmp(one.c_str(), name) == 0;
               });
    });
}

/// Writes a value that is missing.
void write_missing(const char* key, const char* name, store::registry::Value value) {
    if (stands_in_registry(key, name)) return;
    const std::array values{store::registry::Entry{name, std::move(value)}};
    if (store::registry::set(key, values) != store::Status::ok) {
        log(store::registry::path() + ": " + std::strerror(errno));
    }
}

/// The tabs of the sensors, where there is a management controller to read them from.
std::uint32_t sensor_tabs() {
    constexpr std::uint32_t kVoltage = 0x80;
    constexpr std::uint32_t kTemperature = 0x40;
    const auto settings = bmc::read_settings();
    if (!settings) {
        log(store::config_file() + ": [controller] makes no sense; going on without a controller");
        return 0;
    }
    return bmc::is_present(*settings) ? kVoltage | kTemperature : 0;
}

/// On the first start, tells the programs which agent this is and what it has.
void write_first_values() {
    if (store::registry::check() != store::Status::ok) {
        log(store::registry::path() + ": cannot be read or does not parse; going on with the defaults");
        return;
    }
    write_missing("SOFTWARE/QUD/ZELAgent", "CurrentVersion", std::string("4.1"));
    if (const std::uint32_t tabs = sensor_tabs(); tabs != 0)
        write_missing("SOFTWARE/QUD/ZELAgent/CPL", "CplTabView", tabs);
}

std::string answer(std::string_view request, Resources& resources) {
    constexpr std::string_view kReset = "reset ";
    if (request == "ping") return std::string("ok ") + kVersion;
    if (request.starts_with(kReset)) return resources.reset(request.substr(kReset.size()));
    return "error unknown request";
}

/// Takes one signal. False when the service is to end.
bool take_signal(int signals, Resources& resources) {
    signalfd_siginfo info{};
    if (::read(signals, &info, sizeof info) != sizeof info) return true;
    if (info.ssi_signo != SIGHUP) return false;
    log("reading all settings anew");
    resources.reset_all();
    return true;
}

int run() {
    ::umask(S_IRWXG | S_IRWXO);
    if (!make_folders()) return 1;
    TraceLogInit(0, "ZELntserver", 0, 5, 0);
    store::tell_unreadable_files_to(log);
    const store::UniqueFd lock = take_lock();
    if (!lock) return 1;
    const store::UniqueFd signals = redirect_signals();
    if (!signals) return 1;
    write_first_values();
    Resources resources;
    resources.reset_all();
    Server server([&](std::string_view request) { return answer(request, resources); });
    if (!server.listen()) return 1;
    const ControllerWatch controller;
    const EventWatch eventlog("Eventlog_Cycle_Event", [&] { resources.reset("eventlog"); });
    log(std::string(kVersion) + " is ready");
    ::sd_notify(0, "READY=1");
    server.run(signals.get(), [&] { return take_signal(signals.get(), resources); });
    ::sd_notify(0, "STOPPING=1");
    log("ZELntserver ends");
    return 0;
}

}  // namespace
}  // namespace zel::service

int main(int argc, char** argv) try {
    const std::string_view option = argc == 2 ? argv[1] : "";
    if (option == "--help") {
        std::fputs(zel::service::kUsage, stdout);
        return 0;
    }
    if (option == "--version") {
        std::puts(zel::service::kVersion);
        return 0;
    }
    if (argc > 1 && option != "--foreground") {
        std::fputs(zel::service::kUsage, stderr);
        return 2;
    }
    return zel::service::run();
} catch (const std::exception& error) {
    std::fprintf(stderr, "ZELntserver: %s\n", error.what());
    return 1;
}
