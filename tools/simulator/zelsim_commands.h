/* SPDX-License-Identifier: GPL-3.0-or-later
 * The commands that ipmi_sim lacks, or answers without what our panels and service rely on. Each one is a
 * cmd_handler_f: it fills `answer` (completion code first) and its size.
 */
#pragma once

#include <OpenIPMI/lanserv.h>
#include <OpenIPMI/mcserv.h>
#include <OpenIPMI/msg.h>

enum Completion {
    DONE = 0x00,
    NOT_SUPPORTED = 0x80,   /* boot options: no such parameter; watchdog: reset before it was ever set */
    SET_IN_PROGRESS = 0x81, /* boot options: somebody else is at it */
    WRONG_LENGTH = 0xc7,
    WRONG_FIELD = 0xcc
};

/* Set and Get System Boot Options, parameters 0 to 7 with their locks. Writes between "set in progress" and
 * "set complete" are taken back unless "commit write" came before the end; others hold at once. */
void set_boot_options(lmc_data_t* mc, msg_t* request, unsigned char* answer, unsigned* size, void* data);
void get_boot_options(lmc_data_t* mc, msg_t* request, unsigned char* answer, unsigned* size, void* data);

/* Set, Get and Reset Watchdog Timer. Each start leaves a line in the file "started" of the folder, in milliseconds of a
 * clock that nobody sets, and its countdown. A timer that runs out leaves one in "expired", its actions and its countdown, and resets or
 * switches off the virtual machine, where there is one.
 */
void watchdog_init(sys_data_t* sys, const char* files);
void watchdog_pace(unsigned times);
void set_watchdog(lmc_data_t* mc, msg_t* request, unsigned char* answer, unsigned* size, void* data);
void get_watchdog(lmc_data_t* mc, msg_t* request, unsigned char* answer, unsigned* size, void* data);
void reset_watchdog(lmc_data_t* mc, msg_t* request, unsigned char* answer, unsigned* size, void* data);

/* An answer that is a completion code and nothing more. */
static inline void answer_with(enum Completion code, unsigned char* answer, unsigned* size) {
    answer[0] = (unsigned char)code;
    *size = 1;
}
