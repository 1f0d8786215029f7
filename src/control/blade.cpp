// SPDX-License-Identifier: GPL-3.0-or-later
#include "blade.h"

#define ZEL_SENSORSHARE_TYPES_ONLY
#include <agntconf/agent_files.h>
#include <agntconf/dialog.h>
#include <agntconf/messages.h>
#include <agntconf/readstrfile.h>
#include <agntconf/widgets.h>
#include <zel/sensorshare.h>
#include <zel/trace.h>
#include <zel/win32.h>

#include <string>

namespace zel {

namespace {

constexpr char kModule[] = "blade";

DisableSharedSensorFn DisableSharedSensor = nullptr;
EnableSharedSensorFn EnableSharedSensor = nullptr;
GetSharedSensorStatusFn GetSharedSensorStatus = nullptr;
HMODULE pDll = nullptr;

template <class EntryPoint>
bool bind(EntryPoint& slot, const char* name) {
    slot = reinterpret_cast<EntryPoint>(GetProcAddress(pDll, name));
    if (slot != nullptr) return true;
    FreeLibrary(pDll);
    ZEL_TRACE_AS("InitBladeInfo", TRACE_LEVEL_ERROR, "<GetProcAddress(%s) failed.return FALSE.", name);
    return false;
}

int InitBladeInfo() {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    const std::string path = shared_sensor_library();
    if (path.empty()) {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "<GetZelRootPath() failed.return FALSE.");
        return 0;
    }
    pDll = LoadLibrary(path.c_str());
    if (pDll == nullptr) {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "<LoadLibraryi %s failed.return FALSE.", path.c_str());
        return 0;
    }
    if (!bind(DisableSharedSensor, "DisableSharedSensor") ||
        !bind(EnableSharedSensor, "EnableSharedSensor") ||
        !bind(GetSharedSensorStatus, "GetSharedSensorStatus"))
        return 0;
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<return TRUE.");
    return 1;
}

struct Widgets {
    OkCancel buttons;
    char mark = kCleared;
};

void build(Dialog& dialog, int status, Widgets& widgets) {
    newtComponent box =
        dialog.checkbox(text("BLADE_FORBID_ID"), status == SHARED_SENSOR_ENABLED, &widgets.mark);
    widgets.buttons = dialog.ok_cancel();
    newtGrid box_grid = dialog.grid(1, 1, {{0, 0, box, kLeft, {.left = 1, .top = 1}}});
    newtGrid outer =
        dialog.grid(1, 2, {{0, 0, box_grid, kTop}, {0, 1, widgets.buttons.row, kTop, {.top = 2}}});
    dialog.add({box, widgets.buttons.ok, widgets.buttons.cancel});
    dialog.open(outer, text("TITTLE_BLADE_ID"), {15, 1});
}

void show_success() {
    show_titled("Message", "Operation succeeded!");
}

/// Tells what came of a request: a change of state, or a state that stayed where it should have changed.
void report(int now, int before, char mark) {
    if (now == SHARED_SENSOR_UNCERTAIN) return show_error("Disable/Enable failed and backup failed!");
    if (now != SHARED_SENSOR_DISABLED && now != SHARED_SENSOR_ENABLED) return;
    if (before == (now == SHARED_SENSOR_ENABLED ? SHARED_SENSOR_DISABLED : SHARED_SENSOR_ENABLED))
        return show_success();
    const char asked_for_the_other = now == SHARED_SENSOR_ENABLED ? kCleared : kMarked;
    if (before == now && mark == asked_for_the_other)
        show_error("Disable/Enable failed and backup succeeded!");
}

bool apply(int before, char mark) {
    (mark == kMarked ? EnableSharedSensor : DisableSharedSensor)(SHARED_SENSOR_ALL);
    const int now = GetSharedSensorStatus();
    ZEL_TRACE_AS("BladePanel", TRACE_LEVEL_INFO, "oldflags = %d ;flags = %d", before, now);
    if (pDll != nullptr) FreeLibrary(pDll);
    report(now, before, mark);
    return true;
}

}  // namespace

void BladePanel() {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    if (InitBladeInfo() == 0) {
        show_error("Load library failed!");
        ZEL_TRACE(TRACE_LEVEL_ERROR, "<InitBladeInfo() failed.");
        return;
    }
    int status = GetSharedSensorStatus();
    ZEL_TRACE(TRACE_LEVEL_INFO, "GetSharedSensorStatus() return %d", status);
    if (status == SHARED_SENSOR_SYSTEM_ERROR) {
        show_error("Disable/Enable failed and system call error!");
        ZEL_TRACE(TRACE_LEVEL_ERROR, "<GetSharedSensorStatus failed.");
        return;
    }
    if (status == SHARED_SENSOR_UNCERTAIN) status = SHARED_SENSOR_ENABLED;
    {
        Widgets widgets;
        Dialog dialog;
        build(dialog, status, widgets);
        dialog.run_until(widgets.buttons, [&] { return apply(status, widgets.mark); });
    }
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<");
}

}  // namespace zel
