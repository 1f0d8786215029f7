// SPDX-License-Identifier: GPL-3.0-or-later
// A durable write of the thresholds of 1,024 devices beside dd writing and syncing as many bytes; how soon an event is told.
#include <unistd.h>
#include <zel/access_monitor.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>

#include "agent_service.h"
#include "statistics.h"

namespace {

/// CPU counters that go on by ten seconds at once, busy or idle.
class MadeUpCpu {
  public:
    explicit MadeUpCpu(const bench::AgentService& agent) : agent_(agent) {}
    void go_on(bool busy) {
        (busy ? busy_ : idle_) += 1000;
        agent_.write_file("stat.next", "cpu  " + std::to_string(busy_) + " 0 0 " + std::to_string(idle_) +
                                           " 0 0 0 0 0 0\n");
        std::filesystem::rename(agent_.folder() / "stat.next", agent_.folder() / "stat");
    }

  private:
    const bench::AgentService& agent_;
    long busy_ = 0;
    long idle_ = 0;
};

long events_told(const bench::AgentService& agent) {
    std::ifstream log(agent.folder() / "state" / "events.jsonl");
    return std::count(std::istreambuf_iterator<char>(log), {}, '\n');
}

void measure_events() {
    bench::AgentService agent;
    agent.stop_service();
    agent.write_file("agent.conf", "[monitor]\nproc_stat=" + (agent.folder() / "stat").string() + '\n');
    agent.write_file("state/registry.conf",
                     "[SOFTWARE/QUD/ZELAgent/CPU]\nSamplingInterval=dword:1\nCycle=dword:1\n");
    MadeUpCpu cpu(agent);
    cpu.go_on(false);
    agent.start_service();
    for (int i = 0; i < 3; ++i, usleep(1'000'000))
        cpu.go_on(false);
    bench::Samples samples;
    // Ten in ten minutes, and the object is unsteady: no more would be told.
    for (long told = 0; told < 9; ++told, usleep(137'000)) {
        samples.push_back(bench::milliseconds([&] {
            cpu.go_on(told % 2 == 0);
            for (int waited = 0; events_told(agent) == told && waited < 3000; ++waited)
                usleep(1000);
        }));
    }
    bench::print_value("crossing of a threshold to its event, sampled each second", samples, "ms");
    char note[64];
    std::snprintf(note, sizeof note, "at the longest %.0f ms (at most 1050)", std::ranges::max(samples));
    bench::print_note(note);
}

void measure_write() {
    bench::AgentService agent;
    agent.stop_service();  // the write alone, without the time in which the service takes it up
    const auto names = std::make_unique<char[][STORAGE_NAME_SIZE]>(STORAGE_DEVICES_MAX);
    const auto values = std::make_unique<StorageThresholdItem[][STORAGE_ERROR_KINDS]>(STORAGE_DEVICES_MAX);
    for (std::size_t i = 0; i < STORAGE_DEVICES_MAX; ++i)
        std::snprintf(names[i], STORAGE_NAME_SIZE, "disk%04zu", i);
    bench::Samples ours;
    bench::Samples theirs;
    const std::string file = (agent.folder() / "state" / "storage.conf").string();
    for (int i = 0; i < 21; ++i) {
        // All values change: neither an unchanged file nor an unchanged value would be written.
        for (std::size_t device = 0; device < STORAGE_DEVICES_MAX; ++device)
            for (StorageThresholdItem& item : values[device])
                item = {.fatal = 200 + i, .warning = 50 + i, .state = 1};
        ours.push_back(
            bench::milliseconds([&] { WriteThreshold(60, STORAGE_DEVICES_MAX, names.get(), values.get()); }));
        const std::string dd = "dd if=" + file + " of=" + file + ".dd bs=1M conv=fsync 2>/dev/null";
        theirs.push_back(bench::milliseconds([&] { (void)!std::system(dd.c_str()); }));
    }
    bench::print_ratio("durable write of 1,024 devices", ours, "dd conv=fsync", theirs, "ms", 2.0);
}

}  // namespace

int main() {
    measure_write();
    measure_events();
}
