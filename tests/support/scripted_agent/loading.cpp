// SPDX-License-Identifier: GPL-3.0-or-later
// Libraries loaded at run time: every path loads ("LoadLibrary=0" fails), and offers the sensor-sharing calls
// ("GetProcAddress=0" does not find one). No test ever reboots the machine it runs on.
#define ZEL_SENSORSHARE_TYPES_ONLY
#include <zel/sensorshare.h>
#include <zel/win32.h>

#include "script.h"

namespace {

using scripted::call;

int get_status() {
    return call("GetSharedSensorStatus", SHARED_SENSOR_UNCERTAIN);
}
int enable(int argument) {
    return call("EnableSharedSensor", 0, argument);
}
int disable(int argument) {
    return call("DisableSharedSensor", 0, argument);
}

}  // namespace

HMODULE LoadLibrary(const char* path) {
    return reinterpret_cast<HMODULE>(call<std::intptr_t>("LoadLibrary", 1, path));
}

void* GetProcAddress(HMODULE /*h*/, const char* name) {
    if (call("GetProcAddress", 1, name) == 0) return nullptr;
    const std::string_view wanted = name;
    if (wanted == "GetSharedSensorStatus") return reinterpret_cast<void*>(get_status);
    if (wanted == "EnableSharedSensor") return reinterpret_cast<void*>(enable);
    if (wanted == "DisableSharedSensor") return reinterpret_cast<void*>(disable);
    return nullptr;
}

int FreeLibrary(HMODULE /*h*/) {
    return call("FreeLibrary", 1);
}

extern "C" ZEL_API int system(const char* command) {
    return call("system", 0, command);
}
