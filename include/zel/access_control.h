// SPDX-License-Identifier: GPL-3.0-or-later
// The agent access library (libzelaccess.so), third part: server control. Names and flags of the server, the
// chassis light, what happens when the operating system or its shutdown hangs, and the maintenance boot mode.
//
// Mind the success senses: the Get calls of shutdown, watchdog and boot mode succeed with non-zero, their Set
// calls with 0.
//
// A value that a caller saves as it was last handed out to its process stays as another program has changed it since,
// if that is valid.
#pragma once

#include "base.h"

#ifdef __cplusplus
extern "C" {
#endif

// ---- Rack name, SNMP, registry numbers: 1 is failure but for the numbers ----

#define RACK_NAME_SIZE 256            ///< Bytes of a rack mount name, terminating zero included.
#define COMMUNITY_REGISTRY_SIZE 32    ///< Bytes of the stored community name, terminating zero included.
#define COMMUNITY_NODE_NAME_SIZE 100  ///< Bytes of a name in a CommunityNode, terminating zero included.

/// How the agent uses SNMP. `permit` is 0 whenever `enable` is 0.
typedef struct SnmpFlags {
    int32_t enable;  ///< 1: SNMP is used.
    int32_t permit;  ///< 1: its second option, which needs the first, is on too.
} SnmpFlags;
static_assert(sizeof(SnmpFlags) == 8, "SnmpFlags");

/// A community name in a list. The caller allocates the head with malloc; GetCommunityNamefromConf allocates
/// the further nodes with malloc; FreeCommnityStruct frees them all.
typedef struct CommunityNode {
    int32_t index;                        ///< Position in the list, 0 for the head.
    char name[COMMUNITY_NODE_NAME_SIZE];  ///< Zero-terminated.
    struct CommunityNode* next;           ///< NULL at the end.
} CommunityNode;
static_assert(sizeof(CommunityNode) == 112, "CommunityNode");
static_assert(offsetof(CommunityNode, name) == 4, "CommunityNode.name");
static_assert(offsetof(CommunityNode, next) == 104, "CommunityNode.next");

/// One number that GetZelaRegNum looks up.
typedef struct RegNumItem {
    uint32_t word;     ///< 0.
    uint32_t value;    ///< Receives the number; 0 when there is none.
    const char* key;   ///< Key path below HKEY_LOCAL_MACHINE; the caller's.
    const char* name;  ///< Name of the value; the caller's.
} RegNumItem;
static_assert(sizeof(RegNumItem) == 24, "RegNumItem");
static_assert(offsetof(RegNumItem, key) == 8, "RegNumItem.key");

/// Reads the rack mount name, empty when none was given.
/// @param name256  RACK_NAME_SIZE bytes; a longer name is cut, never within a character.
/// @return 1 on failure, any other value on success.
ZEL_API int GetCurrentRackId(char* name256);

/// Saves and applies a rack mount name.
/// @param name  Without control characters. Of more than 255 bytes, the characters that fit are saved.
/// @return 1 on failure, any other value on success.
ZEL_API int ApplyRackmount(const char* name);

/// Reads the SNMP flags.
/// @return 1 on failure, any other value when both are filled.
ZEL_API int GetSnmpFlagsfromReg(SnmpFlags* flags);

/// Saves the SNMP flags; `permit` as 0 when `enable` is 0.
/// @return 1 on failure, any other value on success.
ZEL_API int SetSnmpFlagstoReg(const SnmpFlags* flags);

/// Lists the community names of the SNMP daemon's configuration, snmpd.conf.
/// Each name comes once, in order of appearance, also those that are restricted to some sources. Left out are
/// names longer than COMMUNITY_NODE_NAME_SIZE - 1 bytes and those with control characters.
/// @param head  Allocated by the caller, `next` NULL; filled with the first name (index 0), the others hang
///              on it with indexes 1, 2, ... Not touched when there is none.
/// @return Number of names; 0 when there is none or the configuration cannot be read.
ZEL_API int GetCommunityNamefromConf(CommunityNode* head);

/// Reads the stored community name, "plinth" when none is.
/// @param name32  COMMUNITY_REGISTRY_SIZE bytes; a longer name is cut, never within a character.
/// @return 1 on failure, any other value on success.
ZEL_API int GetCommunityNamefromReg(char* name32);

/// Saves a community name.
/// @param name  1 to COMMUNITY_NODE_NAME_SIZE - 1 bytes, without control characters.
/// @return 1 on failure, any other value on success.
ZEL_API int SetCommunityNametoReg(const char* name);

/// Looks a name up in a list. A name that GetCommunityNamefromReg has cut is looked up as the whole one,
/// unless the list holds the name as given.
/// @param selectedIndex  Receives the index of the node with that name.
/// @return 0 when the name is in the list, non-zero when it is not.
ZEL_API int TestCurrentSameasBefore(const char* name, CommunityNode* head, int* selectedIndex);

/// Frees a list with its head and sets `*head` to NULL; an empty list is left as it is.
/// @return 1.
ZEL_API int FreeCommnityStruct(CommunityNode** head);

/// Reads numbers from the registry in one call.
/// @param items  `count` items with key and name set.
/// @return 1 when every item was found, 0 when at least one was not (the others are filled all the same).
ZEL_API int GetZelaRegNum(RegNumItem* items, int count);

// ---- Chassis identification ----

/// Failure of ZELChassisIdentify_V15; any other result is success.
#define CHASSIS_IDENTIFY_FAILED (-5)

/// Lights the chassis' locator once.
/// @param interval  How long it stays lit, in seconds; 0 switches it off at once. Not changed.
/// @return CHASSIS_IDENTIFY_FAILED, else done.
ZEL_API int ZELChassisIdentify_V15(uint8_t* interval);

// ---- A shutdown or reboot that hangs ----

#define SHUTDOWN_TIMEOUT_MIN 300
#define SHUTDOWN_TIMEOUT_MAX 6000

/// What happens when a shutdown or reboot hangs.
typedef struct ShutdownRecord {
    uint32_t dwHangEnable;  ///< 1 on, 0 off.
    uint32_t dwTimeout;     ///< Seconds that it may take.
    uint32_t dwTimeoutAct;  ///< The two actions, as SetTimeoutAct encodes them.
    uint8_t
        libraryTail[244];  ///< The library's; cleared by the caller before reading, handed back unchanged.
} ShutdownRecord;
static_assert(sizeof(ShutdownRecord) == 256, "ShutdownRecord");
static_assert(offsetof(ShutdownRecord, dwTimeoutAct) == 8, "ShutdownRecord.dwTimeoutAct");

/// Reads the settings.
/// @return Non-zero when filled, 0 on failure.
ZEL_API int GetAllofShutDown(ShutdownRecord* record);

/// Saves the settings. Refused when dwHangEnable is 1 and another field is out of range; when it is 0, such
/// fields are not saved and keep their former values.
/// @return 0 when saved, non-zero on failure (the reverse of GetAllofShutDown).
ZEL_API int SetAllofShutDown(ShutdownRecord* record);

/// Splits an action code of a shutdown or watchdog record.
/// @param when   Receives what happens at the time-out: 0 or 1.
/// @param after  Receives what happens after it: 0 to 3.
/// @return Non-zero when split, 0 when `code` is none that SetTimeoutAct makes.
ZEL_API int GetTimeoutAct(int* when, int* after, uint64_t code);

/// Makes an action code.
/// @param when   0 or 1.
/// @param after  0 to 3.
/// @param code   Receives the code as a uint32_t: exactly four bytes are written, so a 64-bit field must have
///               its upper half clear.
/// @return Non-zero when made, 0 when `when` or `after` is out of range.
ZEL_API int SetTimeoutAct(int when, int after, void* code);

// ---- Watchdog timer ----

#define WDT_INTERVAL_MIN 30
#define WDT_INTERVAL_MAX 60
#define WDT_TIMEOUT_MIN 90
#define WDT_TIMEOUT_MAX 600

/// How the watchdog timer watches the operating system.
typedef struct WdtRecord {
    uint64_t qwHangEnable;  ///< 1 on, 0 off.
    uint64_t qwInterval;    ///< Seconds between two updates of the timer.
    uint64_t qwTimeout;     ///< Seconds until the timer expires.
    uint64_t qwTimeoutAct;  ///< The two actions, as SetTimeoutAct encodes them.
    uint64_t library;       ///< The library's; handed back unchanged, not part of a comparison. Ours counts
                            ///< the times that the settings were saved.
} WdtRecord;
static_assert(sizeof(WdtRecord) == 40, "WdtRecord");
static_assert(offsetof(WdtRecord, qwTimeout) == 16, "WdtRecord.qwTimeout");
static_assert(offsetof(WdtRecord, qwTimeoutAct) == 24, "WdtRecord.qwTimeoutAct");

/// Reads the settings.
/// @return Non-zero when filled, 0 on failure.
ZEL_API int GetAllofWDT(WdtRecord* record);

/// Saves the settings, out-of-range fields as SetAllofShutDown. The timer itself is the service's to start.
/// @return 0 when saved, non-zero on failure (the reverse of GetAllofWDT).
ZEL_API int SetAllofWDT(WdtRecord* record);

// ---- Maintenance boot mode ----

#define MOVAL_MODE_OFF 0         ///< MOVALSetMode: off, with flag 0.
#define MOVAL_MODE_ON 1          ///< MOVALSetMode: on from the next boot, with flag 1. GetUtlBootMode: on.
#define MOVAL_MODE_ON_REBOOT 17  ///< MOVALSetMode: on, the caller reboots at once; with flag 1.

/// Tells whether the maintenance boot mode is installed: whether an administrator named what to boot into.
/// @return 0 when it is not, -1 when that cannot be found out, any other value when it is.
ZEL_API int GetInstallStatus(void);

/// Reads the boot mode.
/// @param mode  Receives MOVAL_MODE_ON when the maintenance boot mode is on, any other value when it is off.
/// @return Non-zero when read, 0 on failure.
ZEL_API int GetUtlBootMode(int* mode);

/// Sets the boot mode; the caller reboots, not this call. On means the next boot only. Off takes back what On
/// has set, and nothing that somebody else has.
/// @param mode  One of MOVAL_MODE_.
/// @param flag  0 with MOVAL_MODE_OFF, 1 with the others; any other pair is refused.
/// @return 0 when set, non-zero on failure (the reverse of GetUtlBootMode).
ZEL_API int MOVALSetMode(int mode, int flag);

#ifdef __cplusplus
}
#endif
