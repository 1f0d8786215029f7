/* SPDX-License-Identifier: GPL-3.0-or-later */
#include <stdbool.h>
#include <time.h>

#include "zelsim_commands.h"

enum {
    DONT_LOG = 0x80,
    RUNNING = 0x40, /* when setting: leave a running timer running */
    USE = 0x07,
    LAST_USE = 5,
    ACTION = 0x07,
    LAST_ACTION = 3
};

/* Times in tenths of a second. */
static struct Watchdog {
    bool set, running;
    unsigned char use, actions, pretimeout, expired;
    long countdown, left, end;
} timer;

static long now(void) {
    struct timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * 10 + time.tv_nsec / 100000000;
}

/* Brings the timer up to date: it is looked at when it is asked for. */
static void advance(void) {
    if (!timer.running) return;
    timer.left = timer.end - now();
    if (timer.left > 0) return;
    timer.left = 0;
    timer.running = false;
    timer.expired |= (unsigned char)(1U << (timer.use & USE));
}

static void start(void) {
    timer.running = true;
    timer.left = timer.countdown;
    timer.end = now() + timer.countdown;
}

void set_watchdog(lmc_data_t* mc, msg_t* request, unsigned char* answer, unsigned* size, void* data) {
    (void)mc, (void)data;
    const unsigned char* wanted = request->data;
    if (request->len != 6) {
        answer_with(WRONG_LENGTH, answer, size);
        return;
    }
    const unsigned use = wanted[0] & USE;
    if (use == 0 || use > LAST_USE || (wanted[1] & ACTION) > LAST_ACTION) {
        answer_with(WRONG_FIELD, answer, size);
        return;
    }
    advance();
    timer.set = true;
    timer.use = wanted[0] & (DONT_LOG | USE);
    timer.actions = wanted[1];
    timer.pretimeout = wanted[2];
    timer.expired &= (unsigned char)~wanted[3];
    timer.countdown = wanted[4] | wanted[5] << 8;
    timer.left = timer.countdown;
    if (timer.running && (wanted[0] & RUNNING)) {
        start();
    } else {
        timer.running = false;
    }
    answer_with(DONE, answer, size);
}

void reset_watchdog(lmc_data_t* mc, msg_t* request, unsigned char* answer, unsigned* size, void* data) {
    (void)mc, (void)request, (void)data;
    advance();
    if (timer.set) start();
    answer_with(timer.set ? DONE : NOT_SUPPORTED, answer, size);
}

void get_watchdog(lmc_data_t* mc, msg_t* request, unsigned char* answer, unsigned* size, void* data) {
    (void)mc, (void)request, (void)data;
    advance();
    const unsigned char state[] = {DONE,
                                   (unsigned char)(timer.use | (timer.running ? RUNNING : 0)),
                                   timer.actions,
                                   timer.pretimeout,
                                   timer.expired,
                                   (unsigned char)(timer.countdown & 0xff),
                                   (unsigned char)(timer.countdown >> 8),
                                   (unsigned char)(timer.left & 0xff),
                                   (unsigned char)(timer.left >> 8)};
    for (*size = 0; *size < sizeof state; ++*size)
        answer[*size] = state[*size];
}
