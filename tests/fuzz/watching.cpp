// SPDX-License-Identifier: GPL-3.0-or-later
// Readers of what is watched, and of what the service keeps for itself.
#include "watching.h"

#include "tell/event_log.h"
#include "tell/kept_state.h"
#include "watch/cpu_load.h"
#include "watch/sampler.h"

namespace zel::test {

using namespace std::chrono_literals;

/// Counters twice: whole, and what the input makes of them.
void read_proc_stat(Input text) {
    watch::CpuLoad load;
    const std::string_view sane = "cpu  100 0 100 800 0 0 0 0 0 0\ncpu0 100 0 100 800 0 0 0 0 0 0\n";
    require(load.take(sane, 3, 1s, 1s), "a line of all CPUs");
    for (int look = 2; look < 6; ++look)
        load.take(look % 2 == 0 ? text : sane, 3, std::chrono::seconds(look), 1s);
    for (std::size_t row = 0; row < 4; ++row) {
        const auto percent = load.percent(row, 1s, 500ms);
        require(!percent || (*percent >= 0 && *percent <= 100), "a part of a hundred");
    }
}

/// One counter of an interface.
void read_counters(Input text) {
    static const auto& sampler = *new std::unique_ptr<watch::Sampler>(watch::lan_sampler());
    for (const char* name :
         {"rx_packets", "tx_packets", "rx_crc_errors", "rx_frame_errors", "rx_length_errors",
          "rx_fifo_errors", "tx_fifo_errors", "tx_carrier_errors", "collisions", "tx_aborted_errors"})
        put(std::string("net/eth0/statistics/") + name, text);
    fs::create_directories(home("net/eth0/device"));
    for (const watch::Reading& reading : sampler->look(watch::now()))
        require(reading.value >= 0 && reading.value <= 100, "a part of a hundred");
}

void read_events(Input text) {
    fs::create_directories(base::service_folder());
    write_text(base::service_folder() + "/events.jsonl", std::string(text));
    tell::EventLog log(base::service_folder(), [](const std::string&) {});
    const auto events = log.open(0);
    for (const tell::Event& event : events)
        require(tell::from_line(tell::to_line(event)).has_value(), "an event that can be written again");
    tell::Event next;
    log.add(next);
    tell::EventLog again(base::service_folder(), [](const std::string&) { require(false, "a whole log"); });
    const auto now = again.open(next.seq - 1);
    require(now.size() == 1 && now.front().seq == next.seq, "the one that was added");
}

void read_state(Input text) {
    fs::create_directories(base::service_folder());
    write_text(base::service_folder() + "/state.json", std::string(text));
    watch::Judge judge;
    const auto seq = tell::load_state(base::service_folder(), judge, [](const std::string&) {});
    require(tell::save_state(base::service_folder(), judge, seq), "a state that can be written");
    watch::Judge again;
    const auto damaged = [](const std::string&) { require(false, "a whole state"); };
    require(tell::load_state(base::service_folder(), again, damaged) == seq, "the same number");
    require(again.things().size() == judge.things().size(), "the same things");
}

}  // namespace zel::test
