// SPDX-License-Identifier: GPL-3.0-or-later
// Start, memory and key presses of the tool on our agent's libraries, beside whiptail with as many rows.
#include <cstdio>
#include <fstream>
#include <string>

#include "agent_service.h"
#include "made_up_machine.h"
#include "statistics.h"

namespace {

using bench::Samples;
using zeltest::VtApp;
using zeltest::VtOptions;

constexpr int kStarts = 121;  // of 41 the medians' ratio came out within 0.03
constexpr int kKeys = 60;

struct Measured {
    Samples start_ms;
    Samples resident_kb;
    Samples key_ms;
};

void measure_once(const VtOptions& options, Measured& into) {
    const auto start = std::chrono::steady_clock::now();
    VtApp app(options);
    if (!app.settle()) std::fprintf(stderr, "%s does not start\n", options.command[0].c_str());
    into.start_ms.push_back(
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
    into.resident_kb.push_back(bench::resident_kb(app.pid()));
    for (int i = 0; i < kKeys; ++i)
        into.key_ms.push_back(bench::milliseconds([&] { app.keys(i % 8 < 4 ? "Down" : "Up"); }));
}

VtOptions whiptail() {
    VtOptions options;
    options.command = {"/usr/bin/whiptail", "--menu", "ZEL Agent Settings", "16", "60", "5"};
    for (int i = 0; i < 9; ++i) {
        options.command.push_back(std::to_string(i));
        options.command.emplace_back("A row with a label");
    }
    options.redirect[2] = "/dev/null";

    return options;
}

/// Opens the panel of a menu row and gives the time from the key to the settled screen.
double open_panel_ms(const VtOptions& options, const char* row) {
    VtApp app(options);
    (void)app.settle();
    choose_row(app, row);
    return bench::milliseconds([&] { app.keys("Enter"); });
}

Samples panel_samples(const VtOptions& options, const char* row) {
    Samples samples;
    for (int i = 0; i < 7; ++i)
        samples.push_back(open_panel_ms(options, row));
    return samples;
}

void make_disks(const bench::AgentService& agent, int disks) {
    agent.write_file("agent.conf", bench::made_up_machine(agent, disks, -1));
}

void make_mounts(const bench::AgentService& agent, int mounts) {
    agent.write_file("agent.conf", bench::made_up_machine(agent, -1, mounts));
}

/// How a panel's opening grows with what it lists.
void measure_growth(const std::string& panel, const char* row, const char* each,
                    std::initializer_list<int> numbers, void (*make)(const bench::AgentService&, int)) {
    const bench::AgentService agent;
    Samples empty;
    for (const int number : numbers) {
        make(agent, number);
        const Samples samples = panel_samples(agent.tool(), row);
        if (number == 0) empty = samples;
        bench::print_value(panel + " panel, " + std::to_string(number) + " " + each + "s: open", samples,
                           "ms");
        if (number == 0) continue;
        const double more = bench::median(samples) - bench::median(empty);
        char note[96];
        std::snprintf(note, sizeof note,
                      "%.1f us more per %s, %.1f ms more than the empty panel (at most 100)",
                      more * 1000 / number, each, more);
        bench::print_note(note);
    }
}

/// Every panel of a server without controller, beside the least that can be opened: a window with one button.
void measure_panels() {
    const bench::AgentService agent;
    for (const auto& [name, row] : {std::pair{"general", "General"},
                                    {"CPU", "CPU Load"},
                                    {"event log", "Event Log"},
                                    {"storage", "Storage Devices"},
                                    {"file-system", "File Systems"},
                                    {"LAN", "LAN"},
                                    {"RAID", "RAID Controller (Mylex)"},
                                    {"watchdog", "Watchdog Timer"},
                                    {"shutdown", "Shutdown"}})
        bench::print_value(std::string(name) + " panel: open", panel_samples(agent.tool(), row), "ms");
}

void measure_start() {
    const bench::AgentService agent;
    agent.write_file("agent.conf", "[trace]\nlevel=information\n");  // as installed
    Measured ours;
    Measured theirs;
    for (int i = 0; i < kStarts; ++i) {
        measure_once(agent.tool(), ours);
        measure_once(whiptail(), theirs);
    }
    bench::print_ratio("start to first full frame", ours.start_ms, "whiptail", theirs.start_ms, "ms", 1.1);
    bench::print_ratio("resident memory", ours.resident_kb, "whiptail", theirs.resident_kb, "kB", 1.35);
    bench::print_ratio("key press to settled screen", ours.key_ms, "whiptail", theirs.key_ms, "ms", 1.2);
}

}  // namespace

int main(int argc, char**) {
    measure_start();
    if (argc > 1) return 0;
    measure_panels();
    measure_growth("storage", "Storage Devices", "device", {0, 128, 512, 1024}, make_disks);
    measure_growth("file-system", "File Systems", "mount", {0, 100, 500, 1000}, make_mounts);
}
