// SPDX-License-Identifier: GPL-3.0-or-later
// The sensor-sharing library: lib/dissensor.dll below the agent's directory, a shared library in spite of its
// name. On a blade server it tells and sets whether the chassis shares its sensors with the blades. Programs
// load it at run time and bind its entry points by the names of the calls below.
#pragma once

#include "base.h"

#ifdef __cplusplus
extern "C" {
#endif

// Results of GetSharedSensorStatus; a negative one means at start-up that sensors cannot be shared here.
#define SHARED_SENSOR_UNAVAILABLE (-3)   ///< This server is no blade whose sensors could be shared.
#define SHARED_SENSOR_SYSTEM_ERROR (-2)  ///< A system call of the library failed.
#define SHARED_SENSOR_UNCERTAIN (-1)     ///< A change failed and could not be undone; before one: as enabled.
#define SHARED_SENSOR_DISABLED 0
#define SHARED_SENSOR_ENABLED 1

/// Argument that programs pass to EnableSharedSensor and DisableSharedSensor.
#define SHARED_SENSOR_ALL (-1)

typedef int (*GetSharedSensorStatusFn)(void);   ///< Type of GetSharedSensorStatus.
typedef int (*EnableSharedSensorFn)(int arg);   ///< Type of EnableSharedSensor.
typedef int (*DisableSharedSensorFn)(int arg);  ///< Type of DisableSharedSensor.

// A program that keeps pointers of these very names defines ZEL_SENSORSHARE_TYPES_ONLY before it includes
// this.
#ifndef ZEL_SENSORSHARE_TYPES_ONLY

/// Tells the present state.
/// @return One of SHARED_SENSOR_: enabled, disabled, uncertain, system error, unavailable.
ZEL_API int GetSharedSensorStatus(void);

/// Has the chassis share its sensors; when that fails, the former state is restored.
/// @param arg  SHARED_SENSOR_ALL.
/// @return The state afterwards, as GetSharedSensorStatus gives it; callers ask that call themselves.
ZEL_API int EnableSharedSensor(int arg);

/// Has the chassis keep its sensors to itself; when that fails, the former state is restored.
/// @param arg  SHARED_SENSOR_ALL.
/// @return The state afterwards, as GetSharedSensorStatus gives it; callers ask that call themselves.
ZEL_API int DisableSharedSensor(int arg);

#endif

#ifdef __cplusplus
}
#endif
