// SPDX-License-Identifier: GPL-3.0-or-later
// ZELntserver, the agent's service: watches what its settings say, reloads them when it is asked to, tells what
// changes, and answers to those who want to know whether it runs.
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <string_view>

#include "base/file_io.h"
#include "base/own_folder.h"
#include "base/paths.h"
#include "client/service_client.h"
#include "event_watch.h"
#include "first_values.h"
#include "log.h"
#include "monitor.h"
#include "resources.h"
#include "server.h"
#include "store/key_file_read.h"
#include "zel/tracelog.h"

namespace zel::service {
namespace {

constexpr const char* kVersion = "ZELntserver " ZEL_VERSION;
constexpr const char* kUsage =
    "usage: ZELntserver [--foreground | --prepare | --reload | --help | --version]\n";

/// The folder that everybody may look into is made as one that is not: others come in when it is ours.
bool open_to_everybody(const std::string& folder) {
    return folder == base::run_folder() || ::chmod(folder.c_str(), 0755) == 0;
}

bool make_folders() {
    const std::string& everybody = base::public_folder();
    for (const std::string& folder : {base::service_folder(), base::run_folder(), everybody}) {
        if (base::make_private_dir(folder) && (folder != everybody || open_to_everybody(folder))) continue;
        log(folder + ": " + std::strerror(errno));
        return false;
    }
    return true;
}

/// False, and logged, for root on the installed folders: root would follow what the service's user put there.
bool is_service_user() {
    if (base::own_state_folder() == base::service_folder()) return true;
    log("the installed service has a user of its own: systemctl start zelntserver");
    return false;
}

bool may_write_settings() {
    return ::access(base::settings_folder().c_str(), W_OK) == 0;
}

/// An administrator may have closed the configuration to others, and so to the service's user.
void look_at_configuration() {
    const std::string& path = base::config_file();
    if (::access(path.c_str(), R_OK) != 0 && errno != ENOENT)
        log(path + ": " + std::strerror(errno) + "; going on without a controller");
}

/// Makes sure that this is the only service on these folders. No descriptor, and logged, when it is not.
base::UniqueFd take_lock() {
    const std::string& path = client::service_lock_path();
    auto file = base::take_own_lock(path, std::chrono::milliseconds(0));
    if (file) return file;
    log(errno == ETIMEDOUT ? "ZELntserver is already running" : path + ": " + std::strerror(errno));
    return {};
}

/// A descriptor that reads the signals to end and to reload everything.
base::UniqueFd redirect_signals() {
    std::signal(SIGPIPE, SIG_IGN);
    sigset_t signals;
    sigemptyset(&signals);
    for (const int one : {SIGTERM, SIGINT, SIGHUP})
        sigaddset(&signals, one);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    base::UniqueFd file(::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!file) log(std::string("signalfd: ") + std::strerror(errno));
    return file;
}

std::string reload(Resources& resources) {
    log("reloading all settings");
    resources.reload_all();
    return "ok";
}

std::string answer(std::string_view request, Resources& resources, Monitor* monitor) {
    constexpr std::string_view kReset = "reset ";
    if (request == "ping") return std::string("ok ") + kVersion;
    if (request == "events") return "ok";
    if (request == "alert test" && monitor != nullptr) {
        monitor->test_telling();
        return "ok";
    }
    if (request == "reload") return reload(resources);
    if (request.starts_with(kReset)) return resources.reload(request.substr(kReset.size()));
    return "error unknown request";
}

/// Takes one signal. False when the service is to end.
bool take_signal(int signals, Resources& resources) {
    signalfd_siginfo info{};
    if (::read(signals, &info, sizeof info) != sizeof info) return true;
    if (info.ssi_signo != SIGHUP) return false;
    reload(resources);
    return true;
}

int run() {
    ::umask(S_IRWXG | S_IRWXO);
    if (!is_service_user() || !make_folders()) return 1;
    TraceLogInit(0, "ZELntserver", 0, 5, 0);
    store::tell_unreadable_files_to(log);
    const base::UniqueFd lock = take_lock();
    if (!lock) return 1;
    const base::UniqueFd signals = redirect_signals();
    if (!signals) return 1;
    look_at_configuration();
    if (may_write_settings()) write_first_values();
    Resources resources;
    resources.reload_all();
    Monitor* watching = nullptr;
    Server server([&](std::string_view request) { return answer(request, resources, watching); });
    if (!server.listen()) return 1;
    Monitor monitor([&](const std::string& event) { server.publish(event); });
    watching = &monitor;
    resources.on_reload([&](const std::string& resource) { monitor.look_at(resource); });
    resources.on_start_again([&](const std::string& resource, const std::string& object) {
        monitor.start_again(resource, object);
    });
    const EventWatch eventlog("Eventlog_Cycle_Event", [&] { resources.reload("eventlog"); });
    if (!client::mark_service(lock.get())) log(client::service_lock_path() + ": " + std::strerror(errno));
    log(std::string(kVersion) + " is ready");
    ::sd_notify(0, "READY=1");
    const bool ordered = server.run(signals.get(), [&] { return take_signal(signals.get(), resources); });
    ::sd_notify(0, "STOPPING=1");
    log("ZELntserver ends");
    return ordered ? 0 : 1;
}

/// What the service needs done by who may write the settings, before it starts as one who may not.
int prepare() {
    ::umask(S_IRWXG | S_IRWXO);
    TraceLogInit(0, "ZELntserver", 0, 5, 0);
    return write_first_values() ? 0 : 1;
}

/// Has the running service reload all settings, and waits until it has.
int order_reload() {
    constexpr std::chrono::seconds kPatience{10};
    const auto answer = client::request("reload", std::chrono::steady_clock::now() + kPatience);
    if (answer.outcome == client::Outcome::ok) return 0;
    std::fputs("ZELntserver does not answer\n", stderr);
    return 1;
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
    if (option == "--prepare") return zel::service::prepare();
    if (option == "--reload") return zel::service::order_reload();
    if (argc > 1 && option != "--foreground") {
        std::fputs(zel::service::kUsage, stderr);
        return 2;
    }
    return zel::service::run();
} catch (const std::exception& error) {
    std::fprintf(stderr, "ZELntserver: %s\n", error.what());
    return 1;
}
