// SPDX-License-Identifier: GPL-3.0-or-later
// Readers of what is watched, and of what the service keeps for itself.
#include "watching.h"

#include <array>

#include "answered_controller.h"
#include "bmc/sel.h"
#include "tell/event_log.h"
#include "tell/kept_state.h"
#include "watch/cpu_load.h"
#include "watch/eventlog_lines.h"
#include "watch/sampler.h"
#include "watch/storage_lines.h"

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
    tell::AllKept kept;
    const auto seq = tell::load_state(base::service_folder(), judge, kept, [](const std::string&) {});
    watch::storage_sampler()->restore(kept["storage"], {});
    watch::eventlog_sampler()->restore(kept["eventlog"], {});
    require(tell::save_state(base::service_folder(), judge, kept, seq), "a state that can be written");
    watch::Judge again;
    const auto damaged = [](const std::string&) { require(false, "a whole state"); };
    require(tell::load_state(base::service_folder(), again, kept, damaged) == seq, "the same number");
    require(again.things().size() == judge.things().size(), "the same things");
}

/// Lines of the kernel, and records of the controller's log with whatever it answers.
void read_logs(Input input) {
    const std::array disks{system::Disk{"sda", "1", "/ata1/"}, system::Disk{"nvme0n1", "2", ""}};
    const auto error = watch::storage_error(input, disks);
    require(!error || error->disk == &disks[0] || error->disk == &disks[1], "one of the disks");
    watch::is_worth_telling(input);

    Input rest = input;
    answer_request = [&](bmc::NetFn, std::uint8_t, Bytes) -> std::optional<bmc::Reply> {
        if (rest.empty()) return std::nullopt;
        const std::size_t size =
            std::min<std::size_t>(rest.size() - 1, static_cast<std::uint8_t>(rest.front()) % 24U);
        bmc::Reply reply{.completion = size == 0 ? std::uint8_t{0xcb} : std::uint8_t{0}, .data = {}};
        for (const char byte : rest.substr(1, size))
            reply.data.push_back(static_cast<std::uint8_t>(byte));
        rest.remove_prefix(1 + size);
        return reply;
    };
    constexpr std::size_t kMost = 8;
    std::optional<bmc::SelPosition> position;
    while (!rest.empty()) {
        const auto records = bmc::read_sel(bmc::controller(), position, kMost);
        require(!records || records->size() <= kMost, "no more records than were wanted");
        for (const bmc::SelRecord& record : records.value_or(std::vector<bmc::SelRecord>()))
            require(!bmc::sel_text(record, "").empty(), "words");
        if (position)
            require(bmc::SelPosition::from(position->text())->text() == position->text(), "a position");
    }
}

}  // namespace zel::test
