// SPDX-License-Identifier: GPL-3.0-or-later
#include <fcntl.h>
#include <sys/file.h>

#include <chrono>
#include <csignal>

#include "base/file_io.h"
#include "home.h"
#include "zel/win32.h"

namespace {

using namespace zel::test;

bool file_exists(const std::string& event) {
    return std::filesystem::exists(zel::base::run_folder() + "/events/" + event);
}

TEST(Event, IsSharedByNameAndGoesWithItsLastUser) {
    HANDLE event = CreateEvent(nullptr, 0, 0, "shared");
    const pid_t other = start_process([&] {
        // What a child inherits is not its own: closing it takes nothing from the parent.
        CloseHandle(event);
        HANDLE mine = OpenEvent(0, 0, "shared");
        return SetEvent(mine) != 0 && CloseHandle(mine) != 0 ? 0 : 1;
    });
    EXPECT_EQ(WaitForSingleObject(event, 5000), WAIT_EVENT_SET);
    EXPECT_EQ(finish_process(other), 0);
    HANDLE again = OpenEvent(0, 0, "shared");
    EXPECT_NE(CloseHandle(event), 0);
    EXPECT_TRUE(file_exists("shared"));
    EXPECT_NE(CloseHandle(again), 0);
    EXPECT_FALSE(file_exists("shared"));
    EXPECT_EQ(OpenEvent(0, 0, "shared"), nullptr);
}

TEST(Event, OfAKilledProcessIsGone) {
    HANDLE ready = CreateEvent(nullptr, 0, 0, "ready");
    const pid_t owner = start_process([] {
        CreateEvent(nullptr, 1, 1, "stale");
        return SetEvent(OpenEvent(0, 0, "ready")) != 0 ? pause() : 1;
    });
    EXPECT_EQ(WaitForSingleObject(ready, 5000), WAIT_EVENT_SET);
    kill(owner, SIGKILL);
    EXPECT_EQ(finish_process(owner), 128 + SIGKILL);
    ASSERT_TRUE(file_exists("stale"));
    EXPECT_EQ(WaitForSingleObject(CreateEvent(nullptr, 0, 0, "stale"), 0), WAIT_TIMEOUT);
}

// Root sets the service's events: its user, once taken over, must not get hold of root by them.
TEST(Event, OfAnotherUserCanNeitherHoldUsUpNorEndUs) {
    if (geteuid() != 0) GTEST_SKIP() << "needs another user";
    HANDLE owner = CreateEvent(nullptr, 0, 0, "theirs");
    const std::string run = zel::base::run_folder();
    const std::string path = run + "/events/theirs";
    for (const std::string& theirs : {run, run + "/events", path})
        ASSERT_EQ(chown(theirs.c_str(), 65534, 65534), 0);
    HANDLE event = OpenEvent(0, 0, "theirs");
    ASSERT_NE(event, nullptr);
    fs::resize_file(path, 0);
    EXPECT_NE(SetEvent(event), 0);
    EXPECT_EQ(WaitForSingleObject(event, INFINITE), WAIT_TIMEOUT);
    CloseHandle(event);
    CloseHandle(owner);

    write_text(path, "");
    ASSERT_EQ(chown(path.c_str(), 65534, 65534), 0);
    const zel::base::UniqueFd held = zel::base::open_file(path, O_RDWR);
    ASSERT_EQ(flock(held.get(), LOCK_EX), 0);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(OpenEvent(0, 0, "theirs"), nullptr);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
    EXPECT_EQ(CreateEvent(nullptr, 0, 0, "ours"), nullptr);  // in their folder
    for (const std::string& ours : {run, run + "/events"})
        ASSERT_EQ(chown(ours.c_str(), 0, 0), 0);
}

TEST(Event, UsersThatComeAndGoDoNotDisturbOneAnother) {
    EXPECT_TRUE(run_processes(4, [] {
        for (int i = 0; i < 500; ++i) {
            CloseHandle(OpenEvent(0, 0, "busy"));
            HANDLE event = CreateEvent(nullptr, 1, 0, "busy");
            if (SetEvent(event) == 0) return 1;
            // Nobody may start the event anew, or under another file, while we hold it.
            HANDLE same = OpenEvent(0, 0, "busy");
            for (HANDLE one : {event, same}) {
                if (WaitForSingleObject(one, 0) != WAIT_EVENT_SET || CloseHandle(one) == 0) return 2;
            }
        }
        return 0;
    }));
    EXPECT_FALSE(file_exists("busy"));
}

}  // namespace
