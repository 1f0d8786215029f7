/* SPDX-License-Identifier: GPL-3.0-or-later */
#include <stdio.h>
#include <time.h>

#include "countdown.h"
#include "zelsim_commands.h"

/* ipmi_sim's own: the channels of a controller by their numbers. */
extern channel_t** is_mc_get_channelset(lmc_data_t* mc);
enum { SYSTEM_INTERFACE = 15 };

static Countdown timer;
static sys_data_t* host;
static ipmi_timer_t* alarm_clock;
static channel_t* machine; /* the way to the one that the timer is to act upon */
static const char* folder;

/* The clock of the timer, which may be made to run faster. */
static struct Pace { long times, real, own; } pace = {1, 0, 0};

static long real_ms(void) {
    struct timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * 1000 + time.tv_nsec / 1000000;
}

static long real_time(void) {
    return real_ms() / 100;
}

/* A line in a file of what the timer did. */
static void note(const char* name, long what, long countdown) {
    char path[600];
    snprintf(path, sizeof path, "%s/%s", folder, name);
    FILE* file = fopen(path, "a");
    if (!file) return;
    fprintf(file, "%ld %ld\n", what, countdown);
    fclose(file);
}

static long now(void) {
    return pace.own + (real_time() - pace.real) * pace.times;
}

static void wait_for_the_end(void) {
    const long tenths = timer.left / pace.times + 1;
    struct timeval time = {tenths / 10, tenths % 10 * 100000};
    host->stop_timer(alarm_clock);
    host->start_timer(alarm_clock, &time);
}

/* What runs out is written down, and done where the way to the machine can do it: in a virtual machine. */
static void act(void) {
    static const unsigned ops[] = {~0U, HW_OP_RESET, HW_OP_POWEROFF, HW_OP_RESET};
    note("expired", timer.actions, timer.countdown);
    const unsigned op = ops[timer.actions & ACTION];
    if (op != ~0U && machine && machine->hw_op && (machine->hw_capabilities & 1U << op))
        machine->hw_op(machine, op);
}

static void advance(void) {
    if (countdown_advance(&timer, now())) act();
}

static void on_alarm(void* data) {
    (void)data;
    advance();
    if (timer.running) wait_for_the_end();
}

void watchdog_init(sys_data_t* sys, const char* files) {
    host = sys;
    folder = files;
    sys->alloc_timer(sys, on_alarm, NULL, &alarm_clock);
}

void watchdog_pace(unsigned times) {
    if (times == 0 || (long)times == pace.times) return;
    pace = (struct Pace){(long)times, real_time(), now()};
    if (timer.running) on_alarm(NULL);
}

void set_watchdog(lmc_data_t* mc, msg_t* request, unsigned char* answer, unsigned* size, void* data) {
    (void)mc, (void)data;
    if (request->len != 6) {
        answer_with(WRONG_LENGTH, answer, size);
        return;
    }
    advance();
    answer_with(countdown_set(&timer, request->data, now()) ? DONE : WRONG_FIELD, answer, size);
}

void reset_watchdog(lmc_data_t* mc, msg_t* request, unsigned char* answer, unsigned* size, void* data) {
    (void)request, (void)data;
    advance();
    machine = is_mc_get_channelset(mc)[SYSTEM_INTERFACE];
    if (timer.set) {
        note("started", real_ms(), timer.countdown);
        countdown_start(&timer, now());
        wait_for_the_end();
    }
    answer_with(timer.set ? DONE : NOT_SUPPORTED, answer, size);
}

void get_watchdog(lmc_data_t* mc, msg_t* request, unsigned char* answer, unsigned* size, void* data) {
    (void)mc, (void)request, (void)data;
    advance();
    answer[0] = DONE;
    countdown_state(&timer, answer + 1);
    *size = 1 + COUNTDOWN_STATE;
}
