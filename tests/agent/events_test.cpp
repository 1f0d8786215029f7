// SPDX-License-Identifier: GPL-3.0-or-later
#include <csignal>

#include "home.h"
#include "zel/win32.h"

namespace {

using namespace zel::test;

bool file_exists(const std::string& event) {
    return std::filesystem::exists(zel::store::runtime_dir() + "/events/" + event);
}

TEST(Event, KindsAndInitialStates) {
    for (const int kind : {0, 1, 2, 3}) {
        const int manual = kind & 1;
        HANDLE event = CreateEvent(nullptr, manual, kind >> 1, "kinds");
        EXPECT_EQ(WaitForSingleObject(event, 20), kind > 1 ? WAIT_EVENT_SET : WAIT_TIMEOUT);
        EXPECT_NE(SetEvent(event), 0);
        EXPECT_EQ(WaitForSingleObject(event, INFINITE), WAIT_EVENT_SET);
        EXPECT_EQ(WaitForSingleObject(event, 0), manual != 0 ? WAIT_EVENT_SET : WAIT_TIMEOUT);
        EXPECT_NE(CloseHandle(event), 0);
        EXPECT_EQ(CloseHandle(event) | SetEvent(event), 0);
        EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_FAILED);
    }
    for (const std::string& name : {std::string(), std::string("../a"), std::string(101, 'a')})
        EXPECT_EQ(CreateEvent(nullptr, 0, 0, name.c_str()), nullptr) << name;
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
    for (const bool create : {false, true}) {
        HANDLE ready = CreateEvent(nullptr, 0, 0, "ready");
        const pid_t owner = start_process([] {
            CreateEvent(nullptr, 1, 1, "stale");
            return SetEvent(OpenEvent(0, 0, "ready")) != 0 ? pause() : 1;
        });
        EXPECT_EQ(WaitForSingleObject(ready, 5000), WAIT_EVENT_SET);
        kill(owner, SIGKILL);
        EXPECT_EQ(finish_process(owner), 128 + SIGKILL);
        ASSERT_TRUE(file_exists("stale"));
        HANDLE event = create ? CreateEvent(nullptr, 0, 0, "stale") : OpenEvent(0, 0, "stale");
        EXPECT_EQ(WaitForSingleObject(event, 0), create ? WAIT_TIMEOUT : WAIT_FAILED);
        CloseHandle(event);
        EXPECT_FALSE(file_exists("stale"));
    }
}

TEST(Event, UsersThatComeAndGoDoNotDisturbOneAnother) {
    EXPECT_TRUE(run_processes(4, [] {
        for (int i = 0; i < 500; ++i) {
            CloseHandle(OpenEvent(0, 0, "busy"));
            HANDLE event = CreateEvent(nullptr, 1, 0, "busy");
            if (SetEvent(event) == 0) return 1;
            // Nobody may start the event anew, or under another file, while we hold it.
            HANDLE same = OpenEvent(0, 0, "busy");
            if (WaitForSingleObject(event, 0) != WAIT_EVENT_SET) return 2;
            if (WaitForSingleObject(same, 0) != WAIT_EVENT_SET) return 3;
            if (CloseHandle(same) == 0 || CloseHandle(event) == 0) return 4;
        }
        return 0;
    }));
    EXPECT_FALSE(file_exists("busy"));
}

TEST(Thread, HandsOverThroughEventsAndItsHandleTellsTheEnd) {
    struct Game {
        HANDLE ping = CreateEvent(nullptr, 0, 0, nullptr);
        HANDLE pong = CreateEvent(nullptr, 0, 0, nullptr);
        int ball = 0;  // handed over by the events alone
    } game;
    const auto answer = [](void* parameter) -> uint32_t {
        auto& [ping, pong, ball] = *static_cast<Game*>(parameter);
        while (WaitForSingleObject(ping, 5000) == WAIT_EVENT_SET && ++ball < 500)
            SetEvent(pong);
        return 0;
    };
    HANDLE thread = CreateThread(answer, &game);
    for (int i = 1; i < 500; ++i) {
        SetEvent(game.ping);
        ASSERT_EQ(WaitForSingleObject(game.pong, 5000), WAIT_EVENT_SET);
        ASSERT_EQ(game.ball, i);
    }
    EXPECT_EQ(WaitForSingleObject(thread, 0), WAIT_TIMEOUT);
    SetEvent(game.ping);
    EXPECT_EQ(WaitForSingleObject(thread, 5000), WAIT_EVENT_SET);
    EXPECT_NE(CloseHandle(thread), 0);
}

TEST(Compat, LibrariesAndVariablesAreBoundedByWhatIsThere) {
    HMODULE library = LoadLibrary("libm.so.6");
    EXPECT_NE(GetProcAddress(library, "cos"), nullptr);
    EXPECT_EQ(GetProcAddress(library, "no_such_entry"), nullptr);
    EXPECT_NE(FreeLibrary(library), 0);
    for (HMODULE wrong : {library, LoadLibrary("/no/such/library.so"), static_cast<HMODULE>(&library)}) {
        EXPECT_EQ(GetProcAddress(wrong, "cos"), nullptr);
        EXPECT_EQ(FreeLibrary(wrong), 0);
    }
    setenv("ZEL_TEST", "value", 1);
    const std::string source = "100% a%ZEL_TEST%b%ZEL_TEST% %ZEL_UNSET%/x %";
    const std::string expected = "100% avaluebvalue %ZEL_UNSET%/x %";
    const auto needed = static_cast<uint32_t>(expected.size() + 1);
    std::string buffer(needed, '#');
    EXPECT_EQ(ExpandEnvironmentStrings(source.c_str(), buffer.data(), needed - 1), needed);
    EXPECT_EQ(buffer, '\0' + std::string(needed - 1, '#'));
    EXPECT_EQ(ExpandEnvironmentStrings(source.c_str(), buffer.data(), needed), needed);
    EXPECT_EQ(buffer, expected + '\0');
    EXPECT_EQ(_memicmp("aBc\xC4", "AbC\xC4x", 4), 0);
    EXPECT_GT(_memicmp("\xE4", "z", 1), 0);
}

}  // namespace
