/* SPDX-License-Identifier: GPL-3.0-or-later
 * A watchdog timer as a controller has it; the clock is the caller's, in tenths of a second. */
#pragma once

#include <stdbool.h>

enum {
    DONT_LOG = 0x80,
    RUNNING = 0x40, /* when setting: leave a running timer running */
    USE = 0x07,
    LAST_USE = 5,
    ACTION = 0x07,
    LAST_ACTION = 3
};

typedef struct Countdown {
    bool set, running;
    unsigned char use, actions, pretimeout, expired;
    long countdown, left, end;
} Countdown;

/* Brings it up to date; true when it has run out since. */
static inline bool countdown_advance(Countdown* timer, long now) {
    if (!timer->running) return false;
    timer->left = timer->end - now;
    if (timer->left > 0) return false;
    timer->left = 0;
    timer->running = false;
    timer->expired = (unsigned char)(timer->expired | 1U << (timer->use & USE));
    return true;
}

static inline void countdown_start(Countdown* timer, long now) {
    timer->running = true;
    timer->left = timer->countdown;
    timer->end = now + timer->countdown;
}

/* Sets it by the six bytes of a request; false where they cannot be. */
static inline bool countdown_set(Countdown* timer, const unsigned char* wanted, long now) {
    const unsigned use = wanted[0] & USE;
    if (use == 0 || use > LAST_USE || (wanted[1] & ACTION) > LAST_ACTION) return false;
    timer->set = true;
    timer->use = wanted[0] & (DONT_LOG | USE);
    timer->actions = wanted[1];
    timer->pretimeout = wanted[2];
    timer->expired = (unsigned char)(timer->expired & ~wanted[3]);
    timer->countdown = wanted[4] | wanted[5] << 8;
    timer->left = timer->countdown;
    if (timer->running && (wanted[0] & RUNNING)) {
        countdown_start(timer, now);
    } else {
        timer->running = false;
    }
    return true;
}

enum { COUNTDOWN_STATE = 8 };

/* The bytes of an answer, behind its completion code. */
static inline void countdown_state(const Countdown* timer, unsigned char* state) {
    state[0] = (unsigned char)(timer->use | (timer->running ? RUNNING : 0));
    state[1] = timer->actions;
    state[2] = timer->pretimeout;
    state[3] = timer->expired;
    state[4] = (unsigned char)(timer->countdown & 0xff);
    state[5] = (unsigned char)(timer->countdown >> 8);
    state[6] = (unsigned char)(timer->left & 0xff);
    state[7] = (unsigned char)(timer->left >> 8);
}
