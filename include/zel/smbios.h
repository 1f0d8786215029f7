// SPDX-License-Identifier: GPL-3.0-or-later
// Access to the firmware's SMBIOS tables. The library behind it, libzelsmbios.so, need not be installed:
// load_libzelsmbios (in libzelaccess.so) opens it at run time and fetches its entries with dlsym under the
// names zelsmbios_initialise, zelsmbios_close and zelsmbios_request.
#pragma once

#include "base.h"

#ifdef __cplusplus
extern "C" {
#endif

// Command codes of the request entry.
#define GET_STRUCTURE_NUMBER 0xC0046B52u           ///< With a SmbiosCountRequest.
#define GET_STRUCTURE_TYPE_AND_OFFSET 0xC0016B50u  ///< With a SmbiosStructRequest.

/// SMBIOS structure type of the system enclosure or chassis.
#define SMBIOS_TYPE_CHASSIS 3

/// Entry points of the library; cleared to zero before load_libzelsmbios, and NULL while not loaded.
typedef struct SmbiosTable {
    void* unused0;                                    ///< Not used.
    int32_t (*initialise)(void);                      ///< zelsmbios_initialise.
    void (*close)(void);                              ///< zelsmbios_close.
    int32_t (*request)(uint32_t code, void* record);  ///< zelsmbios_request.
} SmbiosTable;
static_assert(sizeof(SmbiosTable) == 32, "SmbiosTable");
static_assert(offsetof(SmbiosTable, initialise) == 8, "SmbiosTable.initialise");
static_assert(offsetof(SmbiosTable, close) == 16, "SmbiosTable.close");
static_assert(offsetof(SmbiosTable, request) == 24, "SmbiosTable.request");

/// How many structures of a type there are.
typedef struct SmbiosCountRequest {
    uint8_t type;      ///< In: structure type.
    uint8_t reserved;  ///< 0.
    uint16_t number;   ///< Out: structures of that type, 0 when there is none.
} SmbiosCountRequest;
static_assert(sizeof(SmbiosCountRequest) == 4, "SmbiosCountRequest");
static_assert(offsetof(SmbiosCountRequest, number) == 2, "SmbiosCountRequest.number");

#pragma pack(push, 1)
/// What one structure is. Packed: `number` lies at an odd offset, so no pointer may be taken to it.
typedef struct SmbiosStructRequest {
    uint8_t type;       ///< In: structure type.
    uint8_t lib1[164];  ///< The library's.
    char code[2];  ///< Out: two characters, no terminating zero; "FE" (in any case) is a blade's chassis.
    uint8_t lib2[166];  ///< The library's.
    uint16_t number;    ///< In: which structure of that type, counted from 0.
    uint8_t tail[9];    ///< The library's.
} SmbiosStructRequest;
#pragma pack(pop)
static_assert(sizeof(SmbiosStructRequest) == 344, "SmbiosStructRequest");
static_assert(offsetof(SmbiosStructRequest, code) == 165, "SmbiosStructRequest.code");
static_assert(offsetof(SmbiosStructRequest, number) == 333, "SmbiosStructRequest.number");

/// Opens libzelsmbios.so and fills the table. The caller hands the table to destroy_libzelsmbios in the end,
/// whatever the result.
/// @param table  Cleared to zero; stays so unless the result is 1.
/// @return 1 loaded, 0 the library is not installed, -1 it cannot be loaded or lacks an entry.
ZEL_API int load_libzelsmbios(SmbiosTable* table);

/// Releases what load_libzelsmbios took and clears the table; a cleared table is left as it is.
ZEL_API void destroy_libzelsmbios(SmbiosTable* table);

/// Reads the firmware's tables; requests are answered until zelsmbios_close.
/// @return 0, or -1 when they cannot be read.
ZEL_API int zelsmbios_initialise(void);

/// Drops what zelsmbios_initialise read; harmless without it.
ZEL_API void zelsmbios_close(void);

/// Answers one request.
/// @param code    GET_STRUCTURE_NUMBER or GET_STRUCTURE_TYPE_AND_OFFSET.
/// @param record  The record that belongs to the code; its out fields are filled.
/// @return 0; -1 for an unknown code, a structure that does not exist, or without zelsmbios_initialise.
ZEL_API int zelsmbios_request(uint32_t code, void* record);

#ifdef __cplusplus
}
#endif
