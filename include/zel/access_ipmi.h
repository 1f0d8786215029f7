// SPDX-License-Identifier: GPL-3.0-or-later
// The agent access library (libzelaccess.so), second part: thresholds of the management controller's
// temperature and voltage sensors. Temperatures are whole degrees Celsius, voltages whole millivolts.
//
// A caller brings a table of locations and one of thresholds, asks for the locations, hands them on to read
// the thresholds, and hands the same thresholds back to write them. Row i of both tables is the same sensor.
#pragma once

#include "base.h"

#ifdef __cplusplus
extern "C" {
#endif

/// In a threshold field: the sensor has no such threshold. Not shown, not tested, not written.
#define SENSOR_NO_THRESHOLD INT64_C(0xffffff)
/// In dwMonitorFlag: the sensor has no monitoring setting and is not offered to the administrator.
#define SENSOR_NO_MONITORING UINT32_C(0xffffff)

#define TEMP_SENSORS_MAX 512   ///< Most temperature sensors that the library reports.
#define TEMP_SENSORS_ROOM 612  ///< Rows of both tables of a caller.
#define VOLT_SENSORS_MAX 128   ///< Most voltage sensors that the library reports.
#define VOLT_THRESH_ROOM 128   ///< Rows of a caller's table of thresholds.
#define VOLT_SENSORS_ROOM 144  ///< Rows of a caller's table of locations.

// ---- Temperature ----

/// Thresholds of one temperature sensor. Valid thresholds lie within their limits (ends included) and fall
/// strictly from lHighFatal to lLowFatal, missing ones left out.
typedef struct TempThreshRecord {
    uint32_t word0;              ///< The library's; cleared by the caller before reading.
    uint8_t pad4[4];             ///< Not touched by the caller.
    uint32_t bChangeThreshFlag;  ///< Caller, before writing: 1 when a threshold was changed, else 0.
    uint32_t dwMonitorFlag;      ///< Monitoring: 1 on, 0 off, SENSOR_NO_MONITORING.
    uint32_t word16;             ///< The library's; cleared by the caller before reading.
    uint8_t pad20[4];            ///< Not touched by the caller.
    int64_t unused24;            ///< 0.
    int64_t lHighFatal;          ///< At or above it: fatal; or SENSOR_NO_THRESHOLD, as the next three.
    int64_t lHighWarning;        ///< At or above it: warning.
    int64_t lLowWarning;         ///< At or below it: warning.
    int64_t lLowFatal;           ///< At or below it: fatal.
    int64_t unused64;            ///< 0.
    int64_t lHighMax;            ///< Largest value allowed for the two high thresholds.
    int64_t lHighMin;            ///< Smallest value allowed for the two high thresholds.
    int64_t lLowMax;             ///< Largest value allowed for the two low thresholds.
    int64_t lLowMin;             ///< Smallest value allowed for the two low thresholds.
    uint8_t pad104;              ///< Not touched by the caller.
    uint8_t bSettable;           ///< 1 when the thresholds may be changed, any other value: read only.
    uint8_t pad106[6];           ///< Not touched by the caller.
} TempThreshRecord;
static_assert(sizeof(TempThreshRecord) == 112, "TempThreshRecord");
static_assert(offsetof(TempThreshRecord, bChangeThreshFlag) == 8, "TempThreshRecord.bChangeThreshFlag");
static_assert(offsetof(TempThreshRecord, dwMonitorFlag) == 12, "TempThreshRecord.dwMonitorFlag");
static_assert(offsetof(TempThreshRecord, word16) == 16, "TempThreshRecord.word16");
static_assert(offsetof(TempThreshRecord, unused24) == 24, "TempThreshRecord.unused24");
static_assert(offsetof(TempThreshRecord, lHighFatal) == 32, "TempThreshRecord.lHighFatal");
static_assert(offsetof(TempThreshRecord, lLowFatal) == 56, "TempThreshRecord.lLowFatal");
static_assert(offsetof(TempThreshRecord, unused64) == 64, "TempThreshRecord.unused64");
static_assert(offsetof(TempThreshRecord, lHighMax) == 72, "TempThreshRecord.lHighMax");
static_assert(offsetof(TempThreshRecord, lLowMin) == 96, "TempThreshRecord.lLowMin");
static_assert(offsetof(TempThreshRecord, bSettable) == 105, "TempThreshRecord.bSettable");
static_assert(TEMP_SENSORS_ROOM * sizeof(TempThreshRecord) == 68544, "table of TempThreshRecord");

/// Where one temperature sensor is found.
typedef struct TempSensorLocation {
    char name[128];   ///< Name to show; cleared by the caller before reading.
    uint8_t lib[32];  ///< The library's; handed on unchanged.
} TempSensorLocation;
static_assert(sizeof(TempSensorLocation) == 160, "TempSensorLocation");
static_assert(TEMP_SENSORS_ROOM * sizeof(TempSensorLocation) == 97920, "table of TempSensorLocation");

/// The thresholds as they were read, which a caller keeps to find out what was changed.
typedef struct TempSnapshot {
    int64_t highFatal;
    int64_t highWarning;
    int64_t lowWarning;
    int64_t lowFatal;
} TempSnapshot;
static_assert(TEMP_SENSORS_MAX * sizeof(TempSnapshot) == 16384, "table of TempSnapshot");

/// Finds the temperature sensors.
/// @param senNum  Receives their number, 0 to TEMP_SENSORS_MAX.
/// @param table   TEMP_SENSORS_ROOM rows; the first `*senNum` are filled.
/// @return Non-zero on success, 0 on failure.
ZEL_API int GetIpmiTempLocation(int* senNum, TempSensorLocation* table);

/// Reads monitoring flag, thresholds, limits and bSettable of the sensors that were found.
/// @param data    TEMP_SENSORS_ROOM rows; the first `senNum` are filled.
/// @param senNum  As GetIpmiTempLocation gave it; 0 is no failure.
/// @return Greater than 0 on success, 0 or less on failure.
ZEL_API int64_t TempGetIpmiThreshold(TempSensorLocation* table, TempThreshRecord* data, int senNum);

/// Writes the thresholds of the rows whose bChangeThreshFlag is 1, and the monitoring flags of all rows.
/// @param data    The rows that TempGetIpmiThreshold filled, as changed by the caller.
/// @param senNum  Rows; 0 writes nothing and is no failure.
/// @return Greater than 0 when all is written, 0 or less on failure; some rows may then be written.
ZEL_API int64_t TempSetIpmiThreshold(TempThreshRecord* data, int senNum);

// ---- Voltage ----

/// Thresholds of one voltage sensor; fields and rules as in TempThreshRecord.
typedef struct VoltThreshRecord {
    uint32_t word0;              ///< The library's; cleared by the caller before reading.
    uint8_t pad4[4];             ///< Not touched by the caller.
    uint32_t bChangeThreshFlag;  ///< Caller, before writing: 1 when a threshold was changed, else 0.
    uint32_t dwMonitorFlag;      ///< Monitoring: 1 on, 0 off, SENSOR_NO_MONITORING.
    uint32_t word16;             ///< The library's; cleared by the caller before reading.
    uint8_t pad20[4];            ///< Not touched by the caller.
    int64_t unused24;            ///< 0.
    int64_t lHighFatal;          ///< At or above it: fatal; or SENSOR_NO_THRESHOLD, as the next three.
    int64_t lHighWarning;        ///< At or above it: warning.
    int64_t lLowWarning;         ///< At or below it: warning.
    int64_t lLowFatal;           ///< At or below it: fatal.
    int64_t unused64;            ///< 0.
    int64_t lHighMax;            ///< Largest value allowed for the two high thresholds.
    int64_t lHighMin;            ///< Smallest value allowed for the two high thresholds.
    int64_t lLowMax;             ///< Largest value allowed for the two low thresholds.
    int64_t lLowMin;             ///< Smallest value allowed for the two low thresholds.
    uint8_t pad104[8];           ///< Not touched by the caller.
    uint8_t bSettable;           ///< 1 when the thresholds may be changed, any other value: read only.
    uint8_t pad113[15];          ///< Not touched by the caller.
} VoltThreshRecord;
static_assert(sizeof(VoltThreshRecord) == 128, "VoltThreshRecord");
static_assert(offsetof(VoltThreshRecord, bChangeThreshFlag) == 8, "VoltThreshRecord.bChangeThreshFlag");
static_assert(offsetof(VoltThreshRecord, dwMonitorFlag) == 12, "VoltThreshRecord.dwMonitorFlag");
static_assert(offsetof(VoltThreshRecord, lHighFatal) == 32, "VoltThreshRecord.lHighFatal");
static_assert(offsetof(VoltThreshRecord, lLowMin) == 96, "VoltThreshRecord.lLowMin");
static_assert(offsetof(VoltThreshRecord, bSettable) == 112, "VoltThreshRecord.bSettable");
static_assert(VOLT_THRESH_ROOM * sizeof(VoltThreshRecord) == 16384, "table of VoltThreshRecord");

/// Where one voltage sensor is found.
typedef struct VoltSensorLocation {
    char name[128];   ///< Name to show; cleared by the caller before reading.
    uint8_t lib[16];  ///< The library's; handed on unchanged.
} VoltSensorLocation;
static_assert(sizeof(VoltSensorLocation) == 144, "VoltSensorLocation");
static_assert(VOLT_SENSORS_ROOM * sizeof(VoltSensorLocation) == 20736, "table of VoltSensorLocation");

/// Flag and thresholds as they were read; only the thresholds tell whether a sensor was changed.
typedef struct VoltSnapshot {
    int64_t monitorFlag;
    int64_t highFatal;
    int64_t highWarning;
    int64_t lowWarning;
    int64_t lowFatal;
} VoltSnapshot;
static_assert(VOLT_SENSORS_MAX * sizeof(VoltSnapshot) == 5120, "table of VoltSnapshot");

/// Finds the voltage sensors.
/// @param senNum  Receives their number, 0 to VOLT_SENSORS_MAX.
/// @param table   VOLT_SENSORS_ROOM rows; the first `*senNum` are filled.
/// @return Non-zero on success, 0 on failure.
ZEL_API int GetIpmiVoltLocation(int* senNum, VoltSensorLocation* table);

/// Reads monitoring flag, thresholds, limits and bSettable of the sensors that were found.
/// @param data    VOLT_THRESH_ROOM rows; the first `senNum` are filled.
/// @param senNum  As GetIpmiVoltLocation gave it; 0 is no failure.
/// @return Non-zero on success, 0 on failure (unlike TempGetIpmiThreshold).
ZEL_API int VoltGetIpmiThreshold(VoltSensorLocation* table, VoltThreshRecord* data, int senNum);

/// Writes the thresholds of the rows whose bChangeThreshFlag is 1, and the monitoring flags of all rows.
/// @param data    The rows that VoltGetIpmiThreshold filled, as changed by the caller.
/// @param senNum  Rows; 0 writes nothing and is no failure.
/// @return Greater than 0 when all is written, 0 or less on failure; some rows may then be written.
ZEL_API int64_t VoltpSetIpmiThreshold(VoltThreshRecord* data, int senNum);

#ifdef __cplusplus
}
#endif
