// SPDX-License-Identifier: GPL-3.0-or-later
// Opens and closes every panel of the real tool many times and tells how its memory grows.
//
//   soak [OPENINGS]             resident memory, sampled by the kernel; fails when it grows by more than 1
//   byte in
//                               ten per opening allows: 64 kB from the tenth part of the run to its end
//   soak [OPENINGS] valgrind    the same road under valgrind's leak check; fails on any definite leak or
//   error
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include "agent_service.h"

namespace {

constexpr double kAllowedGrowthKb = 64;
constexpr double kAnyGrowth = 1e9;  // valgrind's own memory is in the figure

/// Leaves whatever is open by its last button, which closes messages and cancels panels.
bool close_until(zeltest::VtApp& app, const std::string& menu) {
    for (int tries = 0; tries < 6 && app.picture() != menu; ++tries)
        app.keys("S-Tab Enter");
    return app.picture() == menu;
}

/// One round through the menu: every panel is opened and closed. The number of panels, 0 when one stayed
/// open.
int open_all(zeltest::VtApp& app) {
    app.keys("Home");
    int panels = 0;
    std::string row;
    do {
        row = highlighted(app);
        const std::string menu = app.picture();
        app.keys("Enter");
        if (app.picture() != menu) ++panels;
        if (!close_until(app, menu)) {
            std::printf("%s", app.picture().c_str());
            return 0;
        }
        app.keys("Down");
    } while (highlighted(app) != row);  // the last one stays
    return panels;
}

int soak(const zeltest::VtOptions& options, int rounds, double allowed) {
    zeltest::VtApp app(options);
    if (!app.settle()) return 1;
    double before = 0;
    int opened = 0;
    for (int round = 0; round < rounds; ++round) {
        const int panels = open_all(app);
        if (panels == 0) return 1;
        opened += panels;
        if (round == rounds / 10) before = bench::resident_kb(app.pid());
    }
    const double after = bench::resident_kb(app.pid());
    std::printf(
        "%d rounds, %d openings of panels: %.0f kB resident after a tenth, %.0f kB at the end (at most %.0f "
        "more)\n",
        rounds, opened, before, after, allowed);
    app.keys("Tab");
    app.send("Enter");
    const int status = app.wait_exit().value_or(-1);
    return status == 0 && after - before <= allowed ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) try {
    const int rounds = argc > 1 ? std::atoi(argv[1]) : 1000;
    const bool valgrind = argc > 2;
    bench::AgentService agent;
    agent.write_file("agent.conf", "[controller]\ninterface=none\n");
    std::filesystem::create_directories(agent.folder() / "state");
    agent.write_file("state/registry.conf",
                     "[SOFTWARE/QUD/ZELAgent]\nCurrentVersion=sz:4.1\n\n"
                     "[SOFTWARE/QUD/ZELAgent/CPL]\nCplTabView=dword:0xC0\n");
    zeltest::VtOptions options = agent.tool();
    options.preload = {QUICK_BUTTONS};
    if (!valgrind) return soak(options, rounds, kAllowedGrowthKb);
    const std::string log = (agent.folder() / "valgrind.log").string();
    options.command.insert(options.command.begin(),
                           {"/usr/bin/valgrind", "-q", "--log-file=" + log, "--leak-check=full",
                            "--show-leak-kinds=definite", "--errors-for-leak-kinds=definite"});
    const int status = soak(options, rounds, kAnyGrowth);
    std::ifstream file(log);
    const std::string found{std::istreambuf_iterator<char>(file), {}};
    std::printf("%s", found.empty() ? "valgrind: no errors, no definite leaks\n" : found.c_str());
    return status == 0 && found.empty() ? 0 : 1;
} catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
