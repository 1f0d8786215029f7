/* SPDX-License-Identifier: GPL-3.0-or-later
 * A module for ipmi_sim. The folder given as its option holds
 *   requests  one line per request: "NETFN/CMD.LUN DATA...", in hexadecimal digits
 *   rules     read anew at each request:
 *               delay MICROSECONDS                wait before each answer
 *               answer NETFN CMD BYTE CC          answer with CC and do nothing when the data begin with BYTE
 *                                                 (0 when there are none)
 *               stop NETFN CMD BYTE               stop the process (SIGSTOP) before the answer
 *               length RECORD SIZE                have a sensor data record say that it is SIZE bytes long
 * It also answers boot options and watchdog (zelsim_commands.h) and Chassis Identify.
 */
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

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

/* The completion code that the rules give, or -1 to let the simulator answer. */
static int obey_rules(const msg_t* request) {
    int completion = -1;
    char line[100];
    FILE* file = open_beside("rules", "r");
    if (!file) return -1;
    while (fgets(line, sizeof line, file)) {
        unsigned netfn, cmd, first, code, delay;
        if (sscanf(line, "delay %u", &delay) == 1) usleep(delay);
        if (sscanf(line, "%*s %x %x %x", &netfn, &cmd, &first) != 3) continue;
        if (netfn != request->netfn || cmd != request->cmd || first != (request->len ? request->data[0] : 0))
            continue;
        if (strncmp(line, "stop", 4) == 0) raise(SIGSTOP);
        if (sscanf(line, "answer %*x %*x %*x %x", &code) == 1) completion = (int)code;
    }
    fclose(file);
    return completion;
}

/* Changes the size in a record's header where the rules say so. */
static void lie_about_size(const msg_t* request, unsigned char* answer) {
    char line[100];
    FILE* file = open_beside("rules", "r");
    if (!file) return;
    while (fgets(line, sizeof line, file)) {
        unsigned record, size;
        if (sscanf(line, "length %x %x", &record, &size) == 2 && record == request->data[2]) {
            answer[7] = (unsigned char)size;
        }
    }
    fclose(file);
}

static void handle(lmc_data_t* mc, msg_t* request, unsigned char* answer, unsigned int* size, void* data) {
    log_request(request);
    const int completion = obey_rules(request);
    if (completion >= 0) {
        answer[0] = (unsigned char)completion;
        *size = 1;
        return;
    }
    for (unsigned i = 0; i < sizeof families / sizeof families[0]; ++i) {
        if (families[i].netfn == request->netfn)
            families[i].original[request->cmd](mc, request, answer, size, data);
    }
    const int header =
        request->netfn == 0x0a && request->cmd == 0x23 && request->len == 6 && !request->data[4];
    if (header && *size >= 8) lie_about_size(request, answer);
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
    (void)sys;
    snprintf(folder, sizeof folder, "%s", options ? options : ".");
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
