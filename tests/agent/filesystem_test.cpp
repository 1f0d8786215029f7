// SPDX-License-Identifier: GPL-3.0-or-later
// File systems: which are listed, what is kept of them, and those that do not answer.
#include <sys/statfs.h>
#include <sys/syscall.h>

#include <array>
#include <chrono>
#include <climits>

#include "made_up_machine.h"
#include "settings/filesystem_settings.h"
#include "zel/tracelog.h"

/// For the libraries as well: file systems named "stuck" do not answer before a file "released" lies there.
extern "C" [[gnu::visibility("default")]] int statfs(const char* path, struct statfs* info) noexcept {
    const std::string at(path);
    if (at.find("/slow") != std::string::npos) usleep(300'000);
    const std::string released = at + "/released";
    while (at.find("/stuck") != std::string::npos && access(released.c_str(), F_OK) != 0)
        usleep(10'000);
    return static_cast<int>(syscall(SYS_statfs, path, info));
}

namespace {

namespace settings = zel::settings;
using namespace zel::test;
using Filesystems = Monitor;

/// What the library lists: interval, then path, mode, a percentage and spaces; "" when it fails.
std::string filesystems() {
    auto* head = static_cast<FsThresholdRecord*>(calloc(1, sizeof(FsThresholdRecord)));
    int cycle = -1;
    std::ostringstream text;
    if (File_ReadThresholdFromFile(head, &cycle) == 1) text << cycle << " s\n";
    for (const auto* r = head; r && cycle > 0; r = r->next)
        text << r->path << ' ' << "??o%s"[r->mode] << ' ' << r->fatalReportPercent << ' '
             << r->fatalReportSpace << ' ' << r->warningResetSpace << '\n';
    EXPECT_EQ(FreeMemofStruct(&head), 1);
    return text.str();
}

/// The paths that the library lists, each with a semicolon, "@" being the home.
std::string listed() {
    std::istringstream lines(filesystems());
    std::string all;
    for (std::string line; std::getline(lines, line);)
        if (line.starts_with('/')) all += line.substr(0, line.find_last_of("o%s") - 1) + ';';
    for (std::size_t at = 0; (at = all.find(home(""))) != std::string::npos;)
        all.replace(at, home("").size(), "@");
    return all;
}

TEST_F(Filesystems, AreTheRootTheLocalOnesAndWhatWasSaved) {
    for (const char* name : {"a b", "b", "pool/sub", "top", "net"})
        fs::create_directories(home(name));
    write_text(home("file"), "");
    const std::string root = "1 0 8:1 / / ext4", btrfs = "1 0 0:30 /@ / btrfs";
    const std::string off = "mode=off\n", on = "mode=percent\n";
    struct Case {
        Strings mounts;
        std::string saved;
        std::string expected;
    };
    for (const auto& [mounts, saved, expected] : {
             Case{{root, "2 1 8:2 / @a\\040b xfs", "3 1 8:1 /x @b ext4", "4 1 0:5 / /proc proc",
                   "5 1 7:1 / @top squashfs", "6 1 0:7 / @net nfs4", "7 1 0:9 / @pool fuse.any",
                   "8 1 8:9 / /cannot/be/asked ext4", "9 1 8:4 / /" + std::string(4095, 'x') + " ext4",
                   "no mount at all"},
                  "",
                  "/;@a b;"},
             // Roots of all kinds. A file of a disk, mounted for a container, is none; a folder of it is.
             Case{{"1 0 0:40 / / overlay", "2 1 8:1 /etc/h @file ext4", "3 1 8:1 /data @a\\040b ext4"},
                  "",
                  "/;@a b;"},
             Case{{"1 0 0:41 /srv / nfs4"}, "", "/;"},
             Case{{"1 0 0:42 / / tmpfs", "2 1 0:43 / @b tmpfs"}, "", "/;"},
             // A pool stands under its root or its shortest path, its top level counts no more than others.
             Case{{btrfs, "2 1 0:30 / @top btrfs", "3 1 0:31 / @pool/sub btrfs", "4 1 0:31 /@b @b btrfs"},
                  "",
                  "/;@b;"},
             Case{{btrfs, "2 1 0:30 / @top btrfs"}, "[@top]\n" + off, "/;"},
             Case{{btrfs, "2 1 0:30 / @top btrfs"}, "[@top]\n" + on, "/;@top;"},
             Case{{root, "2 1 8:2 / @b xfs", "3 1 8:2 / @pool xfs"}, "[@pool]\n" + off, "/;@pool;"},
             // Covered at its own path, above it, and not at all: moved there when the machine started.
             Case{{root, "2 1 8:2 / @b ext4", "3 2 0:5 / @b tmpfs"}, "", "/;"},
             Case{{root, "2 1 8:2 / @pool/sub ext4", "3 1 0:5 / @pool tmpfs"}, "", "/;"},
             Case{{root, "2 1 0:5 / @pool tmpfs", "3 2 8:2 / @pool/sub ext4"}, "", "/;@pool/sub;"},
             Case{{"2 7 8:2 / @b ext4", "7 1 8:1 / / ext4"}, "", "/;@b;"},
             // Saved on the network: a dead one is left out.
             Case{{root, "2 1 0:7 / @net nfs4", "3 1 0:8 / /dead nfs4"},
                  "[@net]\n" + off + "[/dead]\n" + on,
                  "/;@net;"},
         }) {
        mount(mounts);
        write_text(state("filesystem.conf"), at_home(saved));
        EXPECT_EQ(listed(), expected) << mounts.back();
    }
}

TEST_F(Filesystems, ReadAsTheyWereSavedOrByDefault) {
    fs::create_directories(home("new"));
    mount({"1 0 8:1 / / ext4", "2 1 8:2 / @new ext4"});
    struct statfs info {};
    ASSERT_EQ(statfs("/", &info), 0);
    const auto size = ((info.f_blocks * static_cast<std::uint64_t>(info.f_bsize)) >> 20U) / 100;
    const auto by_default = [&](const std::string& start) {
        return start + " 95 " + std::to_string(5 * size) + ' ' + std::to_string(20 * size) + '\n';
    };
    const std::string fresh = by_default(home("new") + " o");
    EXPECT_EQ(filesystems(), by_default("60 s\n/ o") + fresh);
    ASSERT_EQ(save({record("/", FS_MODE_SPACE)}, 9), -1);
    EXPECT_EQ(filesystems(), "9 s\n/ s 74 10 13\n" + fresh);
    write_text(state("filesystem.conf"),
               "[general]\ninterval=0\n[/]\nmode=percent\nfatal.report.percent=101\n");
    EXPECT_EQ(filesystems(), by_default("60 s\n/ %") + fresh);
}

TEST_F(Filesystems, ThatDoNotAnswerHoldNobodyUp) {
    using Clock = std::chrono::steady_clock;
    Strings mounts{"1 0 8:1 / / ext4"};
    for (const char* name : {"slow", "stuck1", "stuck2", "b"}) {
        fs::create_directories(home(name));
        const std::string id = std::to_string(mounts.size() + 1);
        mounts.push_back(id + " 1 8:" + id + " / @" + name + " ext4");
    }
    mount(mounts);
    // Children that hang: they hold no lock and no terminal, only the way to tell that they have done.
    const auto hanging = [] {
        std::istringstream children(read_text("/proc/thread-self/children"));
        std::error_code ended;
        return std::count_if(std::istream_iterator<std::string>(children), {}, [&](const std::string& id) {
            return std::distance(fs::directory_iterator("/proc/" + id + "/fd", ended), {}) == 1;
        });
    };
    // The second and third time they are not even waited for: they still hang in the first question.
    TraceLogInit(0, "monitor", 0, 5, 0);
    for (const int longest : {2500, 1500, 1500}) {
        const auto start = Clock::now();
        EXPECT_EQ(listed(), "/;@b;@slow;");
        EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(longest));
        EXPECT_EQ(hanging(), 2);
    }
    EXPECT_NE(read_text(state("log/monitor.log")).find(home("stuck2") + " is left out: it does not answer."),
              std::string::npos);
    for (const char* name : {"stuck1", "stuck2"})
        write_text(home(name) + "/released", "");
    const auto start = Clock::now();
    while (listed() != "/;@b;@slow;@stuck1;@stuck2;" && Clock::now() - start < std::chrono::seconds(10)) {
    }
    EXPECT_EQ(hanging(), 0);
}

TEST_F(Filesystems, TheFileKeepsWhatIsWatchedOrThere) {
    mount({"1 0 8:1 / / ext4", "2 1 8:2 / /there ext4"});
    write_text(state("filesystem.conf"),
               "[general]\ninterval=9\n[/gone]\nmode=off\n\n# Ours.\n[/too]\nmode=space\n[/slip]\n"
               "mode=precent\n[/there]\nmode=off\n");
    EXPECT_EQ(save({record("/"), record("/new", FS_MODE_OFF), record("/there", FS_MODE_OFF)}), -1);
    std::istringstream lines(read_text(state("filesystem.conf")));
    std::string kept;
    for (std::string line; std::getline(lines, line);)
        if (line.starts_with('[') || line.starts_with('#') || line.starts_with("present")) kept += line + ' ';
    EXPECT_EQ(kept,
              "[general] # Ours. [/too] present=false [/slip] present=false [/there] present=true "
              "[/] present=true ");
}

TEST_F(Filesystems, ThresholdsAreJudgedByTheirMode) {
    constexpr int big = FS_TEST_FATAL_BIG, small = FS_TEST_WARNING_SMALL, order = FS_TEST_ORDER;
    using Case = std::pair<settings::FsLevels, std::array<int, 4>>;
    // In percent, in space of 3700 MiB, of unknown size, of less than 100 MiB.
    for (const auto& [levels, bits] :
         {Case{{100, 99, 2, 1}, {0, order, order, big | small}},
          Case{{1, 2, 99, 3700}, {order, 0, 0, big | small}},
          Case{{0, 2, 99, 3701}, {order, small, 0, big | small}},
          Case{{3701, 3702, 3703, 3704}, {big | order, big | small, 0, big | small}},
          Case{{101, 100, 3, 2}, {big, order, order, big | small}},
          Case{{90, 80, 80, 70}, {order, order, order, big | small}},
          Case{{0, 0, 0, 0}, {small | order, order, 0, 0}}}) {
        const settings::FsSettings percent{FS_MODE_PERCENT, levels, {}}, space{FS_MODE_SPACE, {}, levels};
        const std::array judged{judge(percent, 37), judge(space, 37), judge(space, std::nullopt),
                                judge(space, 0)};
        EXPECT_EQ(judged, bits) << ::testing::PrintToString(levels);
    }
    FsThresholdRecord wrong = record("/", FS_MODE_SPACE);
    wrong.warningResetSpace = INT_MAX;
    EXPECT_EQ(TestInputFilesysParameter(&wrong, 0), FS_TEST_INTERVAL | FS_TEST_WARNING_SMALL);
}

}  // namespace
