// SPDX-License-Identifier: GPL-3.0-or-later
// Start, memory and key presses of the tool on our agent's libraries, beside whiptail with as many rows.
#include <cstdio>
#include <fstream>
#include <string>

#include "agent_service.h"
#include "statistics.h"

namespace {

using bench::Samples;
using zeltest::VtApp;
using zeltest::VtOptions;

constexpr int kStarts = 41;
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
double open_panel_ms(const VtOptions& options, int row) {
    VtApp app(options);
    (void)app.settle();
    for (int i = 0; i < row; ++i)
        app.keys("Down");
    return bench::milliseconds([&] { app.keys("Enter"); });
}

Samples panel_samples(const VtOptions& options, int row) {
    Samples samples;
    for (int i = 0; i < 7; ++i)
        samples.push_back(open_panel_ms(options, row));
    return samples;
}

/// A /sys/block of `disks` made-up disks, named by agent.conf.
void make_disks(const bench::AgentService& agent, int disks) {
    namespace fs = std::filesystem;
    const fs::path block = agent.folder() / "block";
    fs::remove_all(block);
    for (int i = 0; i < disks; ++i) {
        char name[16];
        std::snprintf(name, sizeof name, "disk%04d", i);
        fs::create_directories(block / name);
        std::ofstream(block / name / "size") << "2048000\n";
    }
    agent.write_file("agent.conf", "[monitor]\nsys_block=" + block.string() + "\n");
}

void measure_storage() {
    const bench::AgentService agent;
    Samples empty;
    for (const int disks : {0, 128, 512, 1024}) {
        make_disks(agent, disks);
        const Samples samples = panel_samples(agent.tool(), 3);
        if (disks == 0) empty = samples;
        bench::print_value("storage panel, " + std::to_string(disks) + " devices: open", samples, "ms");
        if (disks > 0)
            std::printf("    %.1f us more per device, %.1f ms more than the empty panel (at most 100)\n",
                        (bench::median(samples) - bench::median(empty)) * 1000 / disks,
                        bench::median(samples) - bench::median(empty));
    }
}

/// File systems to list: one real folder under many made-up mounts, which statfs answers for.
void make_mounts(const bench::AgentService& agent, int mounts) {
    namespace fs = std::filesystem;
    std::string mountinfo;
    for (int i = 0; i < mounts; ++i) {
        const fs::path at = agent.folder() / "mounts" / std::to_string(1000 + i);
        fs::create_directories(at);
        mountinfo += std::to_string(100 + i) + " 1 8:" + std::to_string(i + 1) + " / " + at.string() +
                     " rw - ext4 /dev/sd" + std::to_string(i) + " rw\n";
    }
    agent.write_file("mountinfo", mountinfo);
    agent.write_file("agent.conf", "[monitor]\nmountinfo=" + (agent.folder() / "mountinfo").string() + "\n");
}

void measure_file_systems() {
    const bench::AgentService agent;
    Samples empty;
    for (const int mounts : {0, 100, 500, 1000}) {
        make_mounts(agent, mounts);
        const Samples samples = panel_samples(agent.tool(), 4);
        if (mounts == 0) empty = samples;
        bench::print_value("file-system panel, " + std::to_string(mounts) + " mounts: open", samples, "ms");
        if (mounts > 0)
            std::printf("    %.1f us more per mount, %.1f ms more than the empty panel (at most 100)\n",
                        (bench::median(samples) - bench::median(empty)) * 1000 / mounts,
                        bench::median(samples) - bench::median(empty));
    }
}

}  // namespace

int main(int argc, char**) {
    {
        const bench::AgentService agent;
        Measured ours;
        Measured theirs;
        for (int i = 0; i < kStarts; ++i) {
            measure_once(agent.tool(), ours);
            measure_once(whiptail(), theirs);
        }
        bench::print_ratio("start to first full frame", ours.start_ms, "whiptail", theirs.start_ms, "ms",
                           1.5);
        bench::print_ratio("resident memory", ours.resident_kb, "whiptail", theirs.resident_kb, "kB", 2.0);
        bench::print_ratio("key press to settled screen", ours.key_ms, "whiptail", theirs.key_ms, "ms", 1.2);
    }
    if (argc > 1) return 0;
    measure_storage();
    measure_file_systems();
}
