// SPDX-License-Identifier: GPL-3.0-or-later
// zelsim [--moving] FOLDER PORT [AGENT.CONF]: becomes a simulated management controller of a small server on
// UDP port PORT of 127.0.0.1. Its files are in FOLDER; AGENT.CONF receives the settings that lead to it when
// it has none. What its sensors read stands still, or moves slowly, so that there is something to be warned of.
#include <limits.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "simulation.h"
#include "store/key_file.h"

namespace {

/// The module lies beside the program.
std::string module_path() {
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    const auto module = program.parent_path() / "zelsim_module.so";
    return std::filesystem::exists(module, error) ? module.string() : std::string();
}

constexpr const char* kOverLan = "watchdog_over_lan";

bool write_settings(const std::string& path, const zel::simulator::Simulation& simulation) {
    zel::store::KeyFile section;
    if (!section.parse(zel::simulator::controller_section(simulation))) return false;
    const auto status = zel::store::update_key_file(path, [&section](zel::store::KeyFile& file) {
        const auto host = file.get("controller", "host");
        if (host && host != section.get("controller", "host")) return false;
        if (!host && file.has_group("controller")) return false;
        for (const auto& key : section.keys("controller"))
            if (!host) file.set("controller", key, *section.get("controller", key));
        // Nobody is hurt: its watchdog timer ends nothing but virtual machines.
        if (!file.get("controller", kOverLan)) file.set("controller", kOverLan, "true");
        return true;
    });
    return status == zel::store::Status::ok;
}

int fail(const char* what) {
    std::fprintf(stderr, "zelsim: %s: %s\n", what, std::strerror(errno));
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    const bool moving = argc > 1 && std::strcmp(argv[1], "--moving") == 0;
    if (moving) --argc, ++argv;
    const auto port = argc >= 3 ? zel::store::parse_int(argv[2]) : std::nullopt;
    if (argc > 4 || !port || *port < 1 || *port > 65535) {
        std::fprintf(stderr, "Usage: zelsim [--moving] FOLDER PORT [AGENT.CONF]\n");
        return 2;
    }
    zel::simulator::Simulation simulation;
    simulation.folder = std::filesystem::absolute(argv[1]).string();
    simulation.port = static_cast<int>(*port);
    simulation.module = module_path();
    simulation.sensors = zel::simulator::small_server();
    if (moving) simulation.rules = rules_of(zel::simulator::small_server_waves());
    if (!zel::simulator::write_files(simulation)) return fail(argv[1]);
    if (argc == 4 && !write_settings(argv[3], simulation)) return fail(argv[3]);

    auto command = zel::simulator::command_line(simulation);
    std::vector<char*> arguments;
    for (auto& argument : command)
        arguments.push_back(argument.data());
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    return fail(arguments[0]);
}
