// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <chrono>
#include <csignal>

#include "foundation.h"
#include "zel/win32.h"

namespace {

using namespace zel::test;

bool file_exists(const std::string& event) {
    return std::filesystem::exists(zel::store::runtime_dir() + "/events/" + event);
}

TEST(Event, KindsAndInitialStates) {
    for (const unsigned kind : {0U, 1U, 2U, 3U, 4U, 5U, 6U, 7U}) {
        const bool manual = (kind & 1U) != 0;
        const bool initial = (kind & 2U) != 0;
        HANDLE event =
            CreateEvent(nullptr, manual ? 1 : 0, initial ? 1 : 0, (kind & 4U) != 0 ? "kinds" : nullptr);
        EXPECT_EQ(WaitForSingleObject(event, 0), initial ? WAIT_EVENT_SET : WAIT_TIMEOUT);
        EXPECT_NE(SetEvent(event), 0);
        EXPECT_EQ(WaitForSingleObject(event, INFINITE), WAIT_EVENT_SET);
        EXPECT_EQ(WaitForSingleObject(event, 0), manual ? WAIT_EVENT_SET : WAIT_TIMEOUT);
        EXPECT_NE(CloseHandle(event), 0);
        EXPECT_EQ(CloseHandle(event), 0);
        EXPECT_EQ(SetEvent(event), 0);
        EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_FAILED);
    }
    for (const std::string& name :
         {std::string(), std::string(".."), std::string("../a"), std::string(101, 'a')}) {
        EXPECT_EQ(CreateEvent(nullptr, 0, 0, name.c_str()), nullptr) << name;
    }
}

TEST(Event, AWaitLastsAsLongAsAsked) {
    HANDLE event = CreateEvent(nullptr, 0, 0, nullptr);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(WaitForSingleObject(event, 60), WAIT_TIMEOUT);
    const auto passed = std::chrono::steady_clock::now() - start;
    EXPECT_GE(passed, std::chrono::milliseconds(60));
    EXPECT_LT(passed, std::chrono::milliseconds(260));
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
        while (WaitForSingleObject(ping, 5000) == WAIT_EVENT_SET && ++ball < 2000)
            SetEvent(pong);
        return 0;
    };
    HANDLE thread = CreateThread(answer, &game);
    EXPECT_EQ(WaitForSingleObject(thread, 0), WAIT_TIMEOUT);
    for (int i = 1; i < 2000; ++i) {
        SetEvent(game.ping);
        ASSERT_EQ(WaitForSingleObject(game.pong, 5000), WAIT_EVENT_SET);
        ASSERT_EQ(game.ball, i);
    }
    SetEvent(game.ping);
    EXPECT_EQ(WaitForSingleObject(thread, 5000), WAIT_EVENT_SET);
    EXPECT_EQ(WaitForSingleObject(thread, 0), WAIT_EVENT_SET);
    EXPECT_NE(CloseHandle(thread), 0);
}

TEST(Loading, FindsEntriesAndSurvivesWrongHandles) {
    HMODULE library = LoadLibrary("libm.so.6");
    auto* const cosine = reinterpret_cast<double (*)(double)>(GetProcAddress(library, "cos"));
    ASSERT_NE(cosine, nullptr);
    EXPECT_EQ(cosine(0), 1);
    EXPECT_EQ(GetProcAddress(library, "no_such_entry"), nullptr);
    EXPECT_NE(FreeLibrary(library), 0);
    for (HMODULE wrong : {library, LoadLibrary("/no/such/library.so"), static_cast<HMODULE>(&library)}) {
        EXPECT_EQ(GetProcAddress(wrong, "cos"), nullptr);
        EXPECT_EQ(FreeLibrary(wrong), 0);
    }
}

TEST(Environment, VariablesAreExpandedWhenTheResultFits) {
    setenv("ZEL_TEST", "value", 1);
    for (const auto& [source, expected] :
         std::vector<std::pair<std::string, std::string>>{{"%ZelDir%", zel::store::agent_dir()},
                                                          {"a%ZEL_TEST%b%ZEL_TEST%", "avaluebvalue"},
                                                          {"%ZEL_UNSET%/x", "%ZEL_UNSET%/x"},
                                                          {"100%", "100%"},
                                                          {"%%ZEL_TEST%", "%%ZEL_TEST%"}}) {
        const auto needed = static_cast<uint32_t>(expected.size() + 1);
        std::string buffer(needed, '#');
        EXPECT_EQ(ExpandEnvironmentStrings(source.c_str(), buffer.data(), needed - 1), needed);
        EXPECT_EQ(buffer, '\0' + std::string(needed - 1, '#'));
        EXPECT_EQ(ExpandEnvironmentStrings(source.c_str(), buffer.data(), needed), needed);
        EXPECT_EQ(buffer, expected + '\0');
    }
    EXPECT_EQ(ExpandEnvironmentStrings("abc", nullptr, 0), 4U);
    EXPECT_EQ(_memicmp("aBc\xC4", "AbC\xC4x", 4), 0);
    EXPECT_LT(_memicmp("a", "B", 1), 0);
    EXPECT_GT(_memicmp("\xE4", "z", 1), 0);
}

}  // namespace
