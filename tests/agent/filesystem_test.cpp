// SPDX-License-Identifier: GPL-3.0-or-later
// File systems that do not answer, and thresholds of every kind.
#include <sys/statfs.h>
#include <sys/syscall.h>

#include <array>
#include <chrono>
#include <climits>
#include <cstring>

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

TEST(Filesystems, ThatDoNotAnswerHoldNobodyUp) {
    using Clock = std::chrono::steady_clock;
    std::string mounts = "1 0 8:1 / / ext4\n";
    int number = 1;
    for (const char* name : {"slow", "stuck1", "stuck2", "b"}) {
        fs::create_directories(home(name));
        const std::string id = std::to_string(++number);
        mounts += id + " 1 8:" + id + " / " + home(name) + " ext4\n";
    }
    make_machine();
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

TEST(Filesystems, ThresholdsAreJudgedByTheirMode) {
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
    FsThresholdRecord ring = record("/"), endless = record("/");
    ring.next = &ring;
    std::memset(endless.path, '/', FS_PATH_SIZE);
    EXPECT_EQ(save({endless}) + ResetFilesysService(&ring, 1), 2 * FS_WRITE_FAILED);
    EXPECT_EQ(TestInputFilesysParameter(&ring, 1), FS_TEST_FAILED);
    FsThresholdRecord wrong = record("/", FS_MODE_SPACE);
    wrong.warningResetSpace = INT_MAX;
    EXPECT_EQ(TestInputFilesysParameter(&wrong, 0), FS_TEST_INTERVAL | FS_TEST_WARNING_SMALL);
}

}  // namespace
