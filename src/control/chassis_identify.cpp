// SPDX-License-Identifier: GPL-3.0-or-later
#include "chassis_identify.h"

#include <agntconf/messages.h>
#include <zel/access_control.h>
#include <zel/trace.h>

#include <array>
#include <cerrno>
#include <ctime>

namespace zel {

std::atomic<int> startstatus{0};
std::atomic<int> identifystatus{0};
std::atomic<int> ChassisStatus{0};
std::atomic<HANDLE> hEvent{nullptr};

namespace {

constexpr char kModule[] = "general_ipmi";
constexpr char kSettingsKey[] = "SOFTWARE\\QUD\\ZELAgent\\CPL\\Default\\general";
constexpr std::uint8_t kDefaultSecondsLit = 5;
constexpr std::uint32_t kDefaultWaitMs = 6000;
constexpr time_t kSecondsForFirstCommand = 1;

HANDLE hChassisIdentifyThread = nullptr;  // kept only: the thread ends by itself
void* lpdwTime = nullptr;

struct Rhythm {
    std::uint8_t seconds_lit;
    std::uint32_t wait_ms;
};

Rhythm read_rhythm() {
    std::array<RegNumItem, 2> items = {
        {{.word = 0, .value = 0, .key = kSettingsKey, .name = "ChassisIDTime"},
         {.word = 0, .value = 0, .key = kSettingsKey, .name = "ChassisIDInterval"}}};
    GetZelaRegNum(items.data(), static_cast<int>(items.size()));
    Rhythm rhythm = {.seconds_lit = static_cast<std::uint8_t>(items[0].value),
                     .wait_ms = items[1].value * 1000U};
    if (rhythm.seconds_lit == 0) rhythm.seconds_lit = kDefaultSecondsLit;
    if (rhythm.wait_ms == 0) rhythm.wait_ms = kDefaultWaitMs;
    return rhythm;
}

/// Waits for the worker's first command, for the whole time whatever signals arrive: what it leaves behind
/// after a shorter wait would be told as a failure of the next one.
void wait_for_first_command() {
    timespec end{};
    clock_gettime(CLOCK_MONOTONIC, &end);
    end.tv_sec += kSecondsForFirstCommand;
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr) == EINTR) {
    }
}

/// Reports a failure that the worker left behind, and takes it back.
void report_failure(std::atomic<int>& failure, const char* message) {
    if (failure != 1) return;
    show_error(message);
    startstatus = 0;
    failure = 0;
}

}  // namespace

std::uint32_t ThreadChassisIdentify(void*) {
    startstatus = 1;
    TraceLogSetThrName("ChassisIdentify");
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    Rhythm rhythm = read_rhythm();
    HANDLE stop = CreateEvent(nullptr, 0, 0, nullptr);
    hEvent = stop;
    if (stop == nullptr) {
        identifystatus = 1;
        ZEL_TRACE(TRACE_LEVEL_ERROR, "<CreateEvent failed.return 1.");
        return 1;
    }
    do {
        if (ZELChassisIdentify_V15(&rhythm.seconds_lit) == CHASSIS_IDENTIFY_FAILED) {
            startstatus = 0;
            ChassisStatus = 1;
            ZEL_TRACE(TRACE_LEVEL_ERROR, "ZELChassisIdentify_V15 failed.");
            ZEL_TRACE(TRACE_LEVEL_TRACE, "<return 0.");
            return 0;
        }
    } while (WaitForSingleObject(stop, rhythm.wait_ms) != WAIT_EVENT_SET);
    startstatus = 0;
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<return 0.");
    return 0;
}

void begin_identify() {
    hChassisIdentifyThread = CreateThread(ThreadChassisIdentify, lpdwTime);
    if (hChassisIdentifyThread == nullptr) {
        ZEL_TRACE_AS("GeneralPanel", TRACE_LEVEL_ERROR, "Create Thread Failed!");
        show_error("Create Thread Failed!");
    }
    report_failure(identifystatus, "Create Event Failed!");
    wait_for_first_command();
    report_failure(ChassisStatus, "Chassis Identify failed!");
}

void end_identify() {
    if (startstatus == 1 && SetEvent(hEvent) == 0) show_error("Set Event Failed!");
    std::uint8_t off = 0;
    ZELChassisIdentify_V15(&off);
}

}  // namespace zel
