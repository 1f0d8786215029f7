/* SPDX-License-Identifier: GPL-3.0-or-later */
#include <string.h>

#include "zelsim_commands.h"

enum Parameter {
    PROGRESS,
    PARTITION,
    PARTITION_SCAN,
    CLEARING,
    ACKNOWLEDGE,
    FLAGS,
    INITIATOR,
    MAILBOX,
    PARAMETERS
};
enum Progress { COMPLETE, IN_PROGRESS, COMMIT };
enum { MAILBOX_BLOCKS = 5, BLOCK = 16, LOCKED = 0x80, VERSION = 1 };

/* Bytes of each parameter; a block of the mailbox is preceded by its number. */
static const unsigned size_of[PARAMETERS] = {1, 1, 1, 1, 2, 5, 9, 1 + BLOCK};

static struct Options {
    unsigned char locked[PARAMETERS];
    unsigned char values[PARAMETERS][1 + BLOCK];
    unsigned char mailbox[MAILBOX_BLOCKS][BLOCK];
} options, before;

static enum Completion set_progress(unsigned char wanted) {
    unsigned char* progress = options.values[PROGRESS];
    switch (wanted & 3) {
        case IN_PROGRESS:
            if (*progress == IN_PROGRESS) return SET_IN_PROGRESS;
            before = options;
            *progress = IN_PROGRESS;
            return DONE;
        case COMMIT:
            before = options;
            before.values[PROGRESS][0] = COMPLETE;
            return DONE;
        case COMPLETE:
            if (*progress == IN_PROGRESS) options = before;
            return DONE;
        default:
            return WRONG_FIELD;
    }
}

static enum Completion set_mailbox(const unsigned char* values, unsigned count) {
    if (count < 2) return WRONG_LENGTH;
    if (values[0] >= MAILBOX_BLOCKS) return WRONG_FIELD;
    memcpy(options.mailbox[values[0]], values + 1, count - 1);
    return DONE;
}

static enum Completion set_parameter(unsigned parameter, const unsigned char* values, unsigned count) {
    if (count > size_of[parameter] || (parameter != MAILBOX && count < size_of[parameter]))
        return WRONG_LENGTH;
    switch (parameter) {
        case PROGRESS:
            return set_progress(values[0]);
        case MAILBOX:
            return set_mailbox(values, count);
        case ACKNOWLEDGE: /* the first byte says which bits of the second are meant */
            options.values[ACKNOWLEDGE][1] =
                (unsigned char)((options.values[ACKNOWLEDGE][1] & ~values[0]) | (values[1] & values[0]));
            return DONE;
        default:
            memcpy(options.values[parameter], values, count);
            return DONE;
    }
}

void set_boot_options(lmc_data_t* mc, msg_t* request, unsigned char* answer, unsigned* size, void* data) {
    (void)mc, (void)data;
    if (request->len < 1) {
        answer_with(WRONG_LENGTH, answer, size);
        return;
    }
    const unsigned parameter = request->data[0] & 0x7fU;
    if (parameter >= PARAMETERS) {
        answer_with(NOT_SUPPORTED, answer, size);
        return;
    }
    /* Without values only the lock changes. */
    const unsigned count = request->len - 1;
    const enum Completion code = count == 0 ? DONE : set_parameter(parameter, request->data + 1, count);
    if (code == DONE) options.locked[parameter] = request->data[0] & LOCKED;
    answer_with(code, answer, size);
}

void get_boot_options(lmc_data_t* mc, msg_t* request, unsigned char* answer, unsigned* size, void* data) {
    (void)mc, (void)data;
    if (request->len != 3) {
        answer_with(WRONG_LENGTH, answer, size);
        return;
    }
    const unsigned parameter = request->data[0] & 0x7fU;
    const unsigned char block = request->data[1];
    if (parameter >= PARAMETERS || (parameter == MAILBOX && block >= MAILBOX_BLOCKS)) {
        answer_with(parameter >= PARAMETERS ? NOT_SUPPORTED : WRONG_FIELD, answer, size);
        return;
    }
    answer[0] = DONE;
    answer[1] = VERSION;
    answer[2] = (unsigned char)(parameter | options.locked[parameter]);
    memcpy(answer + 3, options.values[parameter], size_of[parameter]);
    if (parameter == MAILBOX) {
        answer[3] = block;
        memcpy(answer + 4, options.mailbox[block], BLOCK);
    }
    *size = 3 + size_of[parameter];
}
