// SPDX-License-Identifier: GPL-3.0-or-later
#include "eventlog_lines.h"

#include <algorithm>
#include <array>

#include "line_pattern.h"

namespace zel::watch {
namespace {

constexpr std::array kLines{
    // The processors, the memory, the bus.
    EventlogLine{"^(mce: )?\\[Hardware Error\\]: Machine check events logged$",
                 "mce: [Hardware Error]: Machine check events logged"},
    EventlogLine{
        "^EDAC MC[0-9]+: [0-9]+ (CE|UE) .*$",
        "EDAC MC0: 1 CE memory read error on CPU_SrcID#0_MC#0_Chan#1_DIMM#0 (channel:1 slot:0 page:0x1234 "
        "offset:0x0 grain:32 syndrome:0x0)"},
    EventlogLine{
        "^[a-z_0-9]+ [0-9a-f:.]+: AER: (Multiple )?(Corrected|Correctable|Uncorrected|Uncorrectable) .*$",
        "pcieport 0000:00:1c.0: AER: Corrected error received: 0000:03:00.0"},
    EventlogLine{
        "^(mce: )?CPU[0-9]+: (Core|Package) temperature (is )?above threshold, cpu clock (is )?throttled .*$",
        "mce: CPU0: Core temperature is above threshold, cpu clock is throttled (total events = 1)"},
    // The kernel itself.
    EventlogLine{"^INFO: task .+:[0-9]+ blocked for more than [0-9]+ seconds\\.$",
                 "INFO: task kworker/u8:2:1234 blocked for more than 120 seconds."},
    EventlogLine{"^watchdog: BUG: soft lockup - CPU#[0-9]+ stuck for .*$",
                 "watchdog: BUG: soft lockup - CPU#2 stuck for 22s! [stress:1234]"},
    EventlogLine{"^rcu: INFO: rcu_[a-z]+ (self-)?detected (expedited )?stalls? on CPUs?.*$",
                 "rcu: INFO: rcu_preempt self-detected stall on CPU"},
    EventlogLine{"^(kernel BUG at .+!|BUG: .+|Oops: .+|general protection fault.*)$",
                 "BUG: kernel NULL pointer dereference, address: 0000000000000000"},
    EventlogLine{
        "^(Memory cgroup o|O)ut of memory: Kill(ed)? process [0-9]+ \\(.*$",
        "Out of memory: Killed process 1234 (mysqld) total-vm:1234kB, anon-rss:1000kB, file-rss:0kB, "
        "shmem-rss:0kB, UID:106 pgtables:3000kB oom_score_adj:0"},
    // File systems and the network.
    EventlogLine{"^EXT4-fs error \\(device [^)]+\\): .*$",
                 "EXT4-fs error (device sda1): ext4_lookup:1855: inode #131073: comm ls: deleted inode "
                 "referenced: 132109"},
    EventlogLine{"^EXT4-fs \\([^)]+\\): Remounting filesystem read-only$",
                 "EXT4-fs (sda1): Remounting filesystem read-only"},
    EventlogLine{"^XFS \\([^)]+\\): (Corruption|Metadata corruption|.*[Ll]og I/O error|Filesystem has been "
                 "shut down).*$",
                 "XFS (dm-0): Metadata corruption detected at xfs_agf_read_verify+0x10e/0x140 [xfs], xfs_agf "
                 "block 0x1"},
    EventlogLine{"^BTRFS (error|critical) \\(device [^)]+\\): .*$",
                 "BTRFS error (device sda1): bdev /dev/sda1 errs: wr 0, rd 0, flush 0, corrupt 1, gen 0"},
    EventlogLine{"^NETDEV WATCHDOG: .+ transmit queue [0-9]+ timed out.*$",
                 "NETDEV WATCHDOG: eth0 (e1000e): transmit queue 0 timed out"},
};

}  // namespace

std::span<const EventlogLine> eventlog_lines() {
    return kLines;
}

bool is_worth_telling(std::string_view line) {
    static const auto& patterns = made_of(kLines);
    const std::string whole(line);
    return std::ranges::any_of(patterns,
                               [&](const LinePattern& one) { return one.match(whole).has_value(); });
}

}  // namespace zel::watch
