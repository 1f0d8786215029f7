/* SPDX-License-Identifier: GPL-3.0-or-later
 * A module for ipmi_sim. The folder given as its option holds
 *   requests  one line per request: "NETFN/CMD.LUN DATA...", in hexadecimal digits
 *   rules     read anew at each request; what they count begins anew when their text changes:
 *
 *     delay MICROSECONDS                     wait before each answer
 *     answer NETFN CMD BYTE CC [COUNT SKIP]  answer with CC and do nothing
 *     cut NETFN CMD BYTE SIZE [COUNT SKIP]   of the answer only SIZE bytes, completion code included
 *     stop NETFN CMD BYTE                    stop the process (SIGSTOP) before the answer
 *     length RECORD SIZE                     have a sensor data record say that it is SIZE bytes long
 *     rival EVERY                            reserve the repository before every EVERYth reading of records
 *     restamp EVERY COUNT                    at every EVERYth reading of records the repository's time stamp
 *                                            changes, COUNT times in all
 *     reading NUMBER CODE FLAGS              what a sensor reads
 *     hasten TIMES                           the watchdog timer's clock runs so many times faster
 *     wave NUMBER LOW HIGH SECONDS           what it reads goes up from LOW and down again from HIGH, once in
 *                                            SECONDS, counted from the simulator's start (wave.h)
 *
 *   BYTE is what the request's data begin with (0 when there are none), or * for any. COUNT requests are
 *   meant, all without it or with 0, after the first SKIP ones. Numbers are hexadecimal, but for
 *   MICROSECONDS, EVERY, COUNT, SKIP, TIMES and SECONDS.
 *
 * It also answers boot options and watchdog (zelsim_commands.h) and Chassis Identify.
 */
#include <signal.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include "wave.h"
#include "zelsim_commands.h"

/* ipmi_sim's own tables: the handlers in them are called through ours. */
extern cmd_handler_f app_netfn_handlers[256], chassis_netfn_handlers[256], sensor_event_netfn_handlers[256],
    storage_netfn_handlers[256];

#define EXPORTED __attribute__((visibility("default")))

static struct Family {
    unsigned netfn;
    cmd_handler_f* handlers;
    cmd_handler_f original[256];
} families[] = {{0x00, chassis_netfn_handlers, {0}},
                {0x04, sensor_event_netfn_handlers, {0}},
                {0x06, app_netfn_handlers, {0}},
                {0x0a, storage_netfn_handlers, {0}}};

static char folder[512];
static time_t started;

/* Of a clock that nobody sets. */
static time_t seconds_now(void) {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec;
}

static FILE* open_beside(const char* name, const char* mode) {
    char path[600];
    snprintf(path, sizeof path, "%s/%s", folder, name);
    return fopen(path, mode);
}

static void log_request(const msg_t* request) {
    FILE* file = open_beside("requests", "a");
    if (!file) return;
    fprintf(file, "%02x/%02x.%u", request->netfn, request->cmd, request->rs_lun);
    for (unsigned i = 0; i < request->len; ++i)
        fprintf(file, " %02x", request->data[i]);
    fputc('\n', file);
    fclose(file);
}

enum {
    SENSOR_EVENT = 0x04,
    GET_READING = 0x2d,
    STORAGE = 0x0a,
    REPOSITORY_INFO = 0x20,
    RESERVE = 0x22,
    GET_SDR = 0x23,
    MOST_RULES = 16
};

static struct Rules {
    char text[1000];
    unsigned hits[MOST_RULES];
    unsigned stamps; /* changes of the repository's time stamp */
} rules;

/* What the rules have in store for one request. */
struct Orders {
    int completion; /* -1: let the simulator answer */
    unsigned size;  /* of the answer, at most */
    bool rival;
};

static void read_rules(void) {
    char text[sizeof rules.text] = "";
    FILE* file = open_beside("rules", "r");
    if (file) {
        text[fread(text, 1, sizeof text - 1, file)] = '\0';
        fclose(file);
    }
    if (strcmp(text, rules.text) == 0) return;
    memset(rules.hits, 0, sizeof rules.hits);
    memcpy(rules.text, text, sizeof text);
    unsigned times = 1;
    const char* const hasten = strstr(text, "hasten");
    if (hasten) sscanf(hasten, "hasten %u", &times);
    watchdog_pace(times);
}

static bool is(const msg_t* request, unsigned netfn, unsigned cmd) {
    return request->netfn == netfn && request->cmd == cmd;
}

/* A rule about a kind of request. */
static void obey_for_kind(const char* line, const msg_t* request, unsigned* hits, struct Orders* orders) {
    char verb[8], byte[8];
    unsigned netfn, cmd, value = 0, count = 0, skip = 0;
    const int got = sscanf(line, "%7s %x %x %7s %x %u %u", verb, &netfn, &cmd, byte, &value, &count, &skip);
    if (got < 4 || !is(request, netfn, cmd)) return;
    if (byte[0] != '*' && strtoul(byte, NULL, 16) != (request->len ? request->data[0] : 0)) return;
    const unsigned before = (*hits)++;
    if (before < skip || (count != 0 && before >= skip + count)) return;
    if (strcmp(verb, "stop") == 0) raise(SIGSTOP);
    if (strcmp(verb, "answer") == 0) orders->completion = (int)value;
    if (strcmp(verb, "cut") == 0) orders->size = value;
}

static struct Orders obey_rules(const msg_t* request) {
    struct Orders orders = {-1, ~0U, false};
    read_rules();
    unsigned* hits = rules.hits;
    for (const char* line = rules.text; line && hits < rules.hits + MOST_RULES; ++hits) {
        unsigned number, count;
        if (sscanf(line, "delay %u", &number) == 1) {
            usleep(number);
        } else if (sscanf(line, "rival %u", &number) == 1) {
            if (is(request, STORAGE, GET_SDR) && ++*hits % number == 0) orders.rival = true;
        } else if (sscanf(line, "restamp %u %u", &number, &count) == 2) {
            if (is(request, STORAGE, GET_SDR) && ++*hits % number == 0 && *hits / number <= count)
                ++rules.stamps;
        } else {
            obey_for_kind(line, request, hits, &orders);
        }
        line = strchr(line, '\n');
        if (line) ++line;
    }
    return orders;
}

/* Changes the size in a record's header where the rules say so. */
static void lie_about_size(const msg_t* request, unsigned char* answer) {
    for (const char* line = strstr(rules.text, "length"); line; line = strstr(line + 1, "length")) {
        unsigned record, size;
        if (sscanf(line, "length %x %x", &record, &size) == 2 && record == request->data[2])
            answer[7] = (unsigned char)size;
    }
}

/* Changes a sensor's reading where the rules say so. Ours read no more than that of the answer: its place among the
 * thresholds stays what the simulator made of the value that it holds itself. */
static void change_reading(const msg_t* request, unsigned char* answer) {
    const unsigned since = (unsigned)(seconds_now() - started);
    for (const char* line = rules.text; line; line = strchr(line, '\n')) {
        unsigned number, code, flags, low, high, period;
        if (*line == '\n') ++line;
        if (sscanf(line, "reading %x %x %x", &number, &code, &flags) == 3 && number == request->data[0]) {
            answer[1] = (unsigned char)code;
            answer[2] = (unsigned char)flags;
        } else if (sscanf(line, "wave %x %x %x %u", &number, &low, &high, &period) == 4 && period > 0 &&
                   number == request->data[0]) {
            answer[1] = (unsigned char)wave(low, high, period, since);
        }
    }
}

static void answer_originally(lmc_data_t* mc, msg_t* request, unsigned char* answer, unsigned* size,
                              void* data) {
    for (unsigned i = 0; i < sizeof families / sizeof families[0]; ++i) {
        if (families[i].netfn == request->netfn)
            families[i].original[request->cmd](mc, request, answer, size, data);
    }
}

static void handle(lmc_data_t* mc, msg_t* request, unsigned char* answer, unsigned int* size, void* data) {
    log_request(request);
    const struct Orders orders = obey_rules(request);
    if (orders.completion >= 0) {
        answer_with((enum Completion)orders.completion, answer, size);
        return;
    }
    if (orders.rival) {
        msg_t reserve = *request;
        unsigned room = *size;
        reserve.cmd = RESERVE;
        reserve.len = 0;
        answer_originally(mc, &reserve, answer, &room, data);
    }
    answer_originally(mc, request, answer, size, data);
    if (is(request, STORAGE, GET_SDR) && request->len == 6 && !request->data[4] && *size >= 8)
        lie_about_size(request, answer);
    if (is(request, SENSOR_EVENT, GET_READING) && request->len == 1 && *size >= 3)
        change_reading(request, answer);
    if (is(request, STORAGE, REPOSITORY_INFO) && *size >= 10) answer[6] += (unsigned char)rules.stamps;
    if (*size > orders.size) *size = orders.size;
}

/* ipmi_sim leaves it to a script; the log of requests tells what was asked. */
static void identify(lmc_data_t* mc, msg_t* request, unsigned char* answer, unsigned* size, void* data) {
    (void)mc, (void)request, (void)data;
    answer_with(DONE, answer, size);
}

EXPORTED int ipmi_sim_module_print_version(sys_data_t* sys, char* options) {
    (void)sys, (void)options;
    return 0;
}

EXPORTED int ipmi_sim_module_init(sys_data_t* sys, const char* options) {
    snprintf(folder, sizeof folder, "%s", options ? options : ".");
    watchdog_init(sys, folder);
    started = seconds_now();
    return 0;
}

EXPORTED int ipmi_sim_module_post_init(sys_data_t* sys) {
    (void)sys;
    chassis_netfn_handlers[0x04] = identify;
    chassis_netfn_handlers[0x08] = set_boot_options;
    chassis_netfn_handlers[0x09] = get_boot_options;
    app_netfn_handlers[0x22] = reset_watchdog;
    app_netfn_handlers[0x24] = set_watchdog;
    app_netfn_handlers[0x25] = get_watchdog;
    for (unsigned i = 0; i < sizeof families / sizeof families[0]; ++i) {
        for (unsigned cmd = 0; cmd < 256; ++cmd) {
            families[i].original[cmd] = families[i].handlers[cmd];
            if (families[i].handlers[cmd]) families[i].handlers[cmd] = handle;
        }
    }
    return 0;
}
