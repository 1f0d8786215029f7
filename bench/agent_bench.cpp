// SPDX-License-Identifier: GPL-3.0-or-later
// A durable write of the thresholds of 1,024 devices beside dd writing and syncing as many bytes.
#include <zel/access_monitor.h>

#include <cstdio>
#include <cstdlib>
#include <memory>

#include "agent_service.h"
#include "statistics.h"

int main() {
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
