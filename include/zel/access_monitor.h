// SPDX-License-Identifier: GPL-3.0-or-later
// The agent access library (libzelaccess.so), first part: what a program asks when it starts, and the
// settings of the monitored resources: CPU load, storage devices, file systems, network interfaces, RAID
// controllers.
//
// A value that a caller saves as it was last handed out to its process stays as another program has changed it since,
// if that is valid. Where the values of both do not fit together, nothing is saved and the call fails.
#pragma once

#include "base.h"

#ifdef __cplusplus
extern "C" {
#endif

// ---- Start-up ----

/// Identity of the server's hardware.
typedef struct HwIdRecord {
    uint8_t lib1[80];     ///< The library's.
    int64_t modelNumber;  ///< Model number of the server; fits 32 bits, readers may take the low half only.
    uint8_t lib2[360];    ///< The library's.
} HwIdRecord;
static_assert(sizeof(HwIdRecord) == 448, "HwIdRecord");
static_assert(offsetof(HwIdRecord, modelNumber) == 80, "HwIdRecord.modelNumber");

/// Tests for a fault-tolerant server.
/// @return Greater than 0: it is one. 0: it is not. -1: the test failed; errno is EACCES when the caller's
///         rights do not suffice.
ZEL_API int call_zel_is_ft(void);

/// Tests whether the agent's main service, ZELntserver, is running.
/// @return -1 when it is not (neither its mark is there nor an answer within a second), anything else when it is. With
///         -1, errno is EACCES when the service's socket cannot be reached with the caller's rights.
ZEL_API int CheckNTserverReady(void);

/// Reads the hardware's identity the way agent 3.8 does.
/// @return Non-zero when the record is filled, 0 on failure.
ZEL_API int GetQudHwidFor38(HwIdRecord* record);

/// Reads the hardware's identity from the running system.
/// @return Non-zero when the record is filled, 0 on failure.
ZEL_API int GetHWIDFromProc(HwIdRecord* record);

/// Gives the agent's installation directory, without a trailing slash.
/// @param size  Bytes that `buffer` can take.
/// @return Non-zero when written; 0 when it does not fit, `buffer` then holds the empty text.
ZEL_API int GetZelRootPath(char* buffer, int size);

/// Seconds between two samples of storage devices and file systems.
#define MONITOR_INTERVAL_MIN 1
#define MONITOR_INTERVAL_MAX 3600

// ---- CPU load ----
// Row 0 is the whole machine ("TOTAL"), row n is CPU n, counted from 1. Thresholds are percent of load. An
// alert is raised at the report value and cleared at the reset value of its severity.

/// The CPU settings as a whole.
typedef struct CpuSettingsRecord {
    int32_t samplingInterval;    ///< Seconds between two samples: 1, 2, 3, 4, 5, 6, 10, 12, 15, 20, 30 or 60.
    int32_t cycleSeconds;        ///< Span over which load is taken: 60, 300, 1800, 3600, 86400 or 604800 s.
    int32_t initialRow;          ///< Row to show first.
    int32_t totalEnable;         ///< Non-zero: the whole machine's load is watched.
    int32_t cpuCount;            ///< CPUs that are plugged in, the whole machine not counted.
    int32_t totalFatalReport;    ///< Thresholds of the whole machine, percent.
    int32_t totalFatalReset;     ///< See totalFatalReport.
    int32_t totalWarningReport;  ///< See totalFatalReport.
    int32_t totalWarningReset;   ///< See totalFatalReport.
    int32_t unused;              ///< 0.
} CpuSettingsRecord;
static_assert(sizeof(CpuSettingsRecord) == 40, "CpuSettingsRecord");
static_assert(offsetof(CpuSettingsRecord, cpuCount) == 16, "CpuSettingsRecord.cpuCount");
static_assert(offsetof(CpuSettingsRecord, totalWarningReset) == 32, "CpuSettingsRecord.totalWarningReset");

/// Thresholds of one row, percent.
typedef struct CpuThresholdRow {
    int32_t enable;         ///< 1 watched, 0 not.
    int32_t fatalReport;    ///< Load at which the fatal alert is raised.
    int32_t fatalReset;     ///< Load at which it is cleared.
    int32_t warningReport;  ///< Load at which the warning is raised.
    int32_t warningReset;   ///< Load at which it is cleared.
} CpuThresholdRow;
static_assert(sizeof(CpuThresholdRow) == 20, "CpuThresholdRow");
static_assert(offsetof(CpuThresholdRow, fatalReset) == 8, "CpuThresholdRow.fatalReset");

/// How often, and over which span, load is sampled; fields as in CpuSettingsRecord.
typedef struct CpuCycleRecord {
    int32_t samplingInterval;  ///< Seconds.
    int32_t cycleSeconds;      ///< Seconds.
} CpuCycleRecord;
static_assert(sizeof(CpuCycleRecord) == 8, "CpuCycleRecord");

// Bits of TestInputCpuParameter.
#define CPU_TEST_FATAL_BIG 0x1       ///< A fatal value is above 100.
#define CPU_TEST_WARNING_SMALL 0x10  ///< A warning value is below 1.
#define CPU_TEST_ORDER 0x100         ///< Not fatalReport > fatalReset > warningReport > warningReset.

/// Reads the CPU settings.
/// @param settings  Cleared to zero by the caller.
/// @return 1 on failure, any other value when the record is filled.
ZEL_API int GetCpuDataFromRegistry(CpuSettingsRecord* settings);

/// Reads the thresholds of one row; a row never saved has the agent's defaults.
/// @return Non-zero when filled, 0 on failure.
ZEL_API int GetCpuThreshold(int row, CpuThresholdRow* out);

/// Judges the four thresholds of a row, whatever its enable field says: callers ask only about rows that are
/// to be watched.
/// @return 0 when valid, else CPU_TEST_ bits; several may be set. A bit of another value means invalid too.
ZEL_API int TestInputCpuParameter(const CpuThresholdRow* row);

/// Saves the thresholds of one row. A row that reads so already is left as it is.
/// @return Non-zero when written, 0 on failure.
ZEL_API int PutCpuThreshold(int row, const CpuThresholdRow* values);

/// Saves how load is sampled.
/// @return Non-zero when written, 0 on failure.
ZEL_API int PutCycletoReg(const CpuCycleRecord* cycle);

// ---- Storage devices ----
// Callers bring tables of STORAGE_DEVICES_MAX rows: a name and four items per device, in the order of the
// kinds of errors below. A device number is the row's index.

#define STORAGE_DEVICES_MAX 1024
#define STORAGE_NAME_SIZE 30   ///< Bytes of a device's name, terminating zero included.
#define STORAGE_ERROR_KINDS 4  ///< Recoverable, non-recoverable, media, hardware errors.
#define STORAGE_STATE_ON 1
#define STORAGE_STATE_OFF 2

/// Thresholds of one kind of errors of one device. Valid: fatal > warning >= 0.
typedef struct StorageThresholdItem {
    int32_t fatal;    ///< Number of errors at which the fatal alert is raised.
    int32_t warning;  ///< Number of errors at which the warning is raised.
    int32_t state;    ///< STORAGE_STATE_ON or STORAGE_STATE_OFF.
} StorageThresholdItem;
static_assert(sizeof(StorageThresholdItem) == 12, "StorageThresholdItem");

typedef char StorageNames[STORAGE_DEVICES_MAX][STORAGE_NAME_SIZE];  ///< The table `HD` of the calls below.
typedef StorageThresholdItem StorageValues[STORAGE_DEVICES_MAX][STORAGE_ERROR_KINDS];  ///< The table `value`.
static_assert(sizeof(StorageNames) == 30720, "StorageNames");
static_assert(sizeof(StorageValues) == 49152, "StorageValues");

// Failures of WriteThreshold, ResetStorageService and SetDefaultStorageService; any other result is success.
#define STORAGE_NO_SERVICE (-1)    ///< The service did not answer or refused; what was written stands.
#define STORAGE_WRITE_FAILED (-2)  ///< A value is invalid, or the thresholds could not be written.

/// Reads interval and thresholds of all devices that are present; others keep theirs in the file.
/// @param interval  Receives the seconds between two samples, 1 to 3600.
/// @param count     Receives the number of devices, 0 to STORAGE_DEVICES_MAX.
/// @return 0 when there is no device (then only `count` is certain, and 0), else the tables are filled.
ZEL_API int ReadThresholdFromFile(int* interval, int* count, char (*HD)[30],
                                  StorageThresholdItem (*value)[4]);

/// Saves interval and thresholds of all devices and has the service take them up.
/// @param interval  Seconds, 1 to 3600.
/// @param count     Rows used in both tables.
/// @return STORAGE_NO_SERVICE, STORAGE_WRITE_FAILED, else written.
ZEL_API int WriteThreshold(int interval, int count, char (*HD)[30], StorageThresholdItem (*value)[4]);

/// Has the service start again with one device: its error counts and alerts are cleared.
/// @param deviceNumber  The device's row as this program last read them, counted from 1.
/// @return STORAGE_NO_SERVICE, STORAGE_WRITE_FAILED (no such row), else done.
ZEL_API int ResetStorageService(int deviceNumber);

/// Saves the agent's default thresholds for one device, the given ones for all others, and has the service
/// take them up. The defaults are also put into the device's row of `value`, unless nothing was written.
/// @param device  The device's row, counted from 0.
/// @return STORAGE_NO_SERVICE, STORAGE_WRITE_FAILED, else done.
ZEL_API int SetDefaultStorageService(int interval, int count, char (*HD)[30],
                                     StorageThresholdItem (*value)[4], int device);

// ---- File systems ----
// Each file system has its thresholds in two forms kept side by side: percent in use (0 to 100) and free
// space in MiB. Valid percentages fall from fatal report over fatal reset and warning report to warning
// reset; valid spaces rise in that order.

#define FS_PATH_SIZE 4096
#define FS_MODE_OFF 2      ///< Not watched.
#define FS_MODE_PERCENT 3  ///< Watched by the percentages.
#define FS_MODE_SPACE 4    ///< Watched by the free spaces.

/// Settings of one file system, in a list. The caller allocates the head with malloc and clears it; the
/// library allocates the further records with malloc; FreeMemofStruct frees them all.
typedef struct FsThresholdRecord {
    char path[FS_PATH_SIZE];         ///< Where it is mounted.
    uint8_t libraryArea[1024];       ///< The library's.
    int32_t fatalReportSpace;        ///< Free MiB at which the fatal alert is raised.
    int32_t fatalResetSpace;         ///< Free MiB at which it is cleared.
    int32_t fatalReportPercent;      ///< Percent in use at which the fatal alert is raised.
    int32_t fatalResetPercent;       ///< Percent in use at which it is cleared.
    int32_t mode;                    ///< FS_MODE_OFF, FS_MODE_PERCENT or FS_MODE_SPACE.
    int32_t warningReportSpace;      ///< Free MiB at which the warning is raised.
    int32_t warningResetSpace;       ///< Free MiB at which it is cleared.
    int32_t warningReportPercent;    ///< Percent in use at which the warning is raised.
    int32_t warningResetPercent;     ///< Percent in use at which it is cleared.
    int32_t unread;                  ///< 0.
    struct FsThresholdRecord* next;  ///< NULL at the end.
} FsThresholdRecord;
static_assert(sizeof(FsThresholdRecord) == 5168, "FsThresholdRecord");
static_assert(offsetof(FsThresholdRecord, libraryArea) == 4096, "FsThresholdRecord.libraryArea");
static_assert(offsetof(FsThresholdRecord, fatalReportSpace) == 5120, "FsThresholdRecord.fatalReportSpace");
static_assert(offsetof(FsThresholdRecord, fatalReportPercent) == 5128,
              "FsThresholdRecord.fatalReportPercent");
static_assert(offsetof(FsThresholdRecord, mode) == 5136, "FsThresholdRecord.mode");
static_assert(offsetof(FsThresholdRecord, warningReportSpace) == 5140,
              "FsThresholdRecord.warningReportSpace");
static_assert(offsetof(FsThresholdRecord, warningResetPercent) == 5152,
              "FsThresholdRecord.warningResetPercent");
static_assert(offsetof(FsThresholdRecord, unread) == 5156, "FsThresholdRecord.unread");
static_assert(offsetof(FsThresholdRecord, next) == 5160, "FsThresholdRecord.next");

/// Capacity of one file system, in a list beside that of the settings. The caller's, allocated with malloc.
typedef struct FsSizeNode {
    char path[FS_PATH_SIZE];  ///< As in the settings.
    uint64_t size;            ///< One hundredth of the capacity in MiB, rounded down; 0 below 100 MiB.
    struct FsSizeNode* next;  ///< NULL at the end.
} FsSizeNode;
static_assert(sizeof(FsSizeNode) == 4112, "FsSizeNode");
static_assert(offsetof(FsSizeNode, size) == 4096, "FsSizeNode.size");
static_assert(offsetof(FsSizeNode, next) == 4104, "FsSizeNode.next");

// Bits of TestInputFilesysParameter.
#define FS_TEST_INTERVAL 0x1         ///< The interval is not 1 to 3600 s.
#define FS_TEST_FATAL_BIG 0x10       ///< A fatal value is beyond what the file system can reach.
#define FS_TEST_WARNING_SMALL 0x100  ///< A warning is below 1 percent, or at too much free space.
#define FS_TEST_ORDER 0x1000         ///< The thresholds are not in order.
#define FS_TEST_FAILED 0x10000       ///< The test itself failed.

/// Failure of ResetFilesysService; any other result is success.
#define FS_WRITE_FAILED (-2)

/// Reads the settings of all file systems that are mounted and answer within two seconds in all; others keep
/// theirs in the file. The root comes first, then by path. Having none at all is a failure.
/// @param head   The first record, allocated and cleared by the caller; the further ones are allocated here
///               and hang on it. On failure none hangs on it.
/// @param cycle  Receives the seconds between two samples, 1 to 3600.
/// @return 1 on success, any other value on failure.
ZEL_API int File_ReadThresholdFromFile(FsThresholdRecord* head, int* cycle);

/// Judges interval and thresholds. A file system that is not watched is not judged, the others in the form
/// that their mode names. Free spaces of a file system that does not tell its size have no upper limit.
/// @param cycle  Seconds.
/// @return 0 when all is valid, else FS_TEST_ bits; FS_TEST_FAILED also for a list that does not end.
ZEL_API int TestInputFilesysParameter(FsThresholdRecord* head, int cycle);

/// Saves interval and settings, if they are valid but for the size, and has the service take them up. What is
/// not watched and was not saved before is not saved now, and what is neither watched nor mounted is
/// forgotten.
/// @param cycle  Seconds, 1 to 3600.
/// @return FS_WRITE_FAILED, else written; -1 when the service did not take them up (it will when it starts).
ZEL_API int ResetFilesysService(FsThresholdRecord* head, int cycle);

/// Frees a list with its head and sets `*head` to NULL; an empty list is left as it is.
/// @return 1.
ZEL_API int FreeMemofStruct(FsThresholdRecord** head);

// ---- Network interfaces ----

// Ranges of the fields below.
#define LAN_INTERVAL_MIN 1
#define LAN_INTERVAL_MAX 3600
#define LAN_HARDWARE_MIN 0
#define LAN_HARDWARE_MAX 100
#define LAN_RETRY_MIN 10
#define LAN_RETRY_MAX 50
#define LAN_ABORT_MIN 10
#define LAN_ABORT_MAX 50

/// How the network interfaces are watched. Thresholds are percent of the packets.
typedef struct LanSettingsRecord {
    int32_t interval;  ///< Seconds between two samples.
    int32_t hardware;  ///< Hardware errors.
    int32_t retry;     ///< Retries.
    int32_t abort_;    ///< Aborts.
} LanSettingsRecord;
static_assert(sizeof(LanSettingsRecord) == 16, "LanSettingsRecord");

// Bits of TestInputLanParameter: the field is out of its range.
#define LAN_TEST_INTERVAL 0x1
#define LAN_TEST_HARDWARE 0x10
#define LAN_TEST_RETRY 0x100
#define LAN_TEST_ABORT 0x1000

/// Reads the network settings.
/// @return 1 on failure, any other value when the record is filled.
ZEL_API int GetLanDataFromRegistry(LanSettingsRecord* r);

/// Judges the four fields.
/// @return 0 when all are valid, else LAN_TEST_ bits; several may be set.
ZEL_API int TestInputLanParameter(const LanSettingsRecord* r);

/// Saves the network settings.
/// @return Non-zero when written, 0 on failure or when a field is out of its range.
ZEL_API int PutLanThreshold(const LanSettingsRecord* r);

// ---- RAID controllers (Mylex) ----

#define MYLEX_INTERVAL_MIN 10
#define MYLEX_INTERVAL_MAX 3600

/// What the threshold file of the controllers, zelmlx.inf, holds.
typedef struct MylexThresholdBlock {
    int32_t lib[230];  ///< The library's.
    int32_t interval;  ///< Seconds at which the controllers are watched.
} MylexThresholdBlock;
static_assert(sizeof(MylexThresholdBlock) == 924, "MylexThresholdBlock");
static_assert(offsetof(MylexThresholdBlock, interval) == 920, "MylexThresholdBlock.interval");

// Failures of Mylex_ReadThresholdFromFile; any other result is success.
#define MYLEX_NO_FILE 6      ///< zelmlx.inf cannot be opened, or made when it is missing.
#define MYLEX_READ_FAILED 7  ///< It was opened and does not hold a valid interval.

// Failures of ResetMylexService; any other result is success.
#define MYLEX_NO_SERVICE (-1)    ///< The service did not answer or refused; what was written stands.
#define MYLEX_WRITE_FAILED (-2)  ///< The interval could not be written.
#define MYLEX_BAD_INTERVAL (-3)  ///< The interval is out of its range.

/// Reads the threshold file of the controllers; a missing one is made with 60 s first.
/// @param block924  A MylexThresholdBlock.
/// @return MYLEX_NO_FILE, MYLEX_READ_FAILED, else the block is filled.
ZEL_API int Mylex_ReadThresholdFromFile(void* block924);

/// Saves the interval and restarts the controllers' monitoring with it. The range is tested here.
/// @param interval  Seconds.
/// @return MYLEX_BAD_INTERVAL, MYLEX_WRITE_FAILED, MYLEX_NO_SERVICE, else done.
ZEL_API int ResetMylexService(int interval);

// ---- The system's event log: one number in the registry ----

#define EVENTLOG_KEY "SOFTWARE\\QUD\\ZELALERTMAN\\REPORTTABLE\\EVENTLOG"
#define EVENTLOG_CYCLE "CYCLE"  ///< Seconds between two looks at it.
#define EVENTLOG_CYCLE_MIN 10
#define EVENTLOG_CYCLE_MAX 3600
#define EVENTLOG_CYCLE_DEFAULT 300

#ifdef __cplusplus
}
#endif
