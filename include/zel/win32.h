// SPDX-License-Identifier: GPL-3.0-or-later
// Registry, events, threads, run-time loading and environment in the shape of the Win32 calls that the agent
// is written against. Offered by libzelcompat.so.
//
// Registry. Keys and values live in the agent's own store. Names of keys and values compare without case,
// `\` and `/` separate the parts of a key path alike. Every change is durable when the call returns. The
// store's file permissions decide who may read and write it; an access mask only states the intent.
#pragma once

#include "base.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef void* HKEY;     ///< An open registry key, or HKEY_LOCAL_MACHINE.
typedef void* HANDLE;   ///< An event or a thread. NULL is no handle.
typedef void* HMODULE;  ///< A library loaded at run time. NULL is no module.

/// The one root of the registry. Always open, never closed.
#define HKEY_LOCAL_MACHINE ((HKEY)(uintptr_t)0x80000002u)  // NOLINT(performance-no-int-to-ptr)

// Results of the registry calls.
#define ERROR_SUCCESS 0
#define ERROR_FILE_NOT_FOUND 2      ///< No such key or value.
#define ERROR_ACCESS_DENIED 5       ///< This user may not read or write the store.
#define ERROR_INVALID_HANDLE 6      ///< Not an open key.
#define ERROR_WRITE_FAULT 29        ///< The store could not be written; it is as it was before.
#define ERROR_INVALID_PARAMETER 87  ///< A missing pointer, a bad name, a type or size that do not fit.
#define ERROR_MORE_DATA 234         ///< The buffer is too small; the size says what is needed.
#define ERROR_BADDB 1009            ///< The store is there but cannot be read.

// Types of registry values.
#define REG_SZ 1u      ///< Text; its size counts the terminating zero.
#define REG_BINARY 3u  ///< Bytes.
#define REG_DWORD 4u   ///< uint32_t, 4 bytes, little-endian.

// What RegCreateKeyEx found.
#define REG_CREATED_NEW_KEY 1u
#define REG_OPENED_EXISTING_KEY 2u

// Access masks.
#define KEY_READ 0x20019u
#define KEY_ALL_ACCESS 0xF003Fu

/// A wait without time-out.
#define INFINITE 0xFFFFFFFFu

// Results of WaitForSingleObject. "Set" is 2 here, not 0.
#define WAIT_EVENT_SET 2u        ///< The event was set, or the thread has ended.
#define WAIT_TIMEOUT 0x102u      ///< The time passed.
#define WAIT_FAILED 0xFFFFFFFFu  ///< Not a handle that can be waited for.

/// Opens an existing key.
/// @param root     HKEY_LOCAL_MACHINE or an open key.
/// @param path     Path below `root`; empty opens `root` itself once more.
/// @param options  Ignored; pass 0.
/// @param access   Access mask; 0 stands for KEY_READ.
/// @param out      Receives the key; the caller closes it with RegCloseKey.
/// @return ERROR_SUCCESS, ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED, ERROR_INVALID_HANDLE,
///         ERROR_INVALID_PARAMETER or ERROR_BADDB.
ZEL_API int32_t RegOpenKeyEx(HKEY root, const char* path, uint32_t options, uint32_t access, HKEY* out);

/// Reads a value of an open key as it stands in the store now.
/// @param name      The value's name.
/// @param reserved  Ignored; pass NULL.
/// @param type      Receives REG_SZ, REG_BINARY or REG_DWORD; may be NULL.
/// @param data      Receives the value; NULL asks only for type and size.
/// @param size      In: bytes that `data` can take. Out: bytes of the value, a text's terminating zero
///                  included. May be NULL only when `data` is NULL.
/// @return ERROR_SUCCESS; ERROR_MORE_DATA when `data` is too small (`type` and `size` are set, `data` is
///         untouched); ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED, ERROR_INVALID_HANDLE,
///         ERROR_INVALID_PARAMETER or ERROR_BADDB.
ZEL_API int32_t RegQueryValueEx(HKEY key, const char* name, uint32_t* reserved, uint32_t* type, uint8_t* data,
                                uint32_t* size);

/// Opens a key, making it and the keys above it when they are missing.
/// @param reserved     Ignored; pass 0.
/// @param cls          Ignored; may be NULL or empty.
/// @param options      Ignored; pass 0.
/// @param access       Access mask, KEY_ALL_ACCESS for a key that is to be written.
/// @param security     Ignored; pass NULL.
/// @param out          Receives the key; the caller closes it with RegCloseKey.
/// @param disposition  Receives REG_CREATED_NEW_KEY or REG_OPENED_EXISTING_KEY; may be NULL.
/// @return ERROR_SUCCESS, ERROR_ACCESS_DENIED, ERROR_INVALID_HANDLE, ERROR_WRITE_FAULT,
///         ERROR_INVALID_PARAMETER or ERROR_BADDB.
ZEL_API int32_t RegCreateKeyEx(HKEY root, const char* path, uint32_t reserved, const char* cls,
                               uint32_t options, uint32_t access, void* security, HKEY* out,
                               uint32_t* disposition);

/// Writes a value of an open key, replacing one of the same name whatever its type.
/// @param reserved  Ignored; pass 0.
/// @param type      REG_SZ, REG_BINARY or REG_DWORD.
/// @param data      The value; may be NULL only when `size` is 0.
/// @param size      Bytes of the value: 4 for REG_DWORD; for REG_SZ the terminating zero may be counted or
/// not.
/// @return ERROR_SUCCESS, ERROR_ACCESS_DENIED, ERROR_INVALID_HANDLE, ERROR_WRITE_FAULT,
///         ERROR_INVALID_PARAMETER or ERROR_BADDB.
ZEL_API int32_t RegSetValueEx(HKEY key, const char* name, uint32_t reserved, uint32_t type,
                              const uint8_t* data, uint32_t size);

/// Closes a key; HKEY_LOCAL_MACHINE may be passed and stays open.
/// @return ERROR_SUCCESS or ERROR_INVALID_HANDLE.
ZEL_API int32_t RegCloseKey(HKEY key);

/// Makes an event, or opens the existing one of that name (its state and kind then stay as they are).
/// @param security     Ignored; pass NULL.
/// @param manualReset  Non-zero: once set the event stays set. 0: the wait that sees it set clears it.
/// @param initial      Non-zero: the event starts set.
/// @param name         NULL for an event of this process only. A named event is visible to every process
///                     that uses the same agent directory and goes with its last user.
/// @return The event, closed with CloseHandle; NULL on failure.
ZEL_API HANDLE CreateEvent(void* security, int manualReset, int initial, const char* name);

/// Opens a named event that some process has made.
/// @param access   Ignored.
/// @param inherit  Ignored; handles are not inherited.
/// @return The event, closed with CloseHandle; NULL when no process has an event of that name.
ZEL_API HANDLE OpenEvent(uint32_t access, int inherit, const char* name);

/// Sets an event: one waiter goes on when it clears itself, all of them when it does not.
/// @return Non-zero when set, 0 when `event` is not an event.
ZEL_API int SetEvent(HANDLE event);

/// Waits until an event is set or a thread has ended.
/// @param ms  Longest wait in milliseconds; 0 only looks, INFINITE has no limit.
/// @return WAIT_EVENT_SET, WAIT_TIMEOUT or WAIT_FAILED.
ZEL_API uint32_t WaitForSingleObject(HANDLE h, uint32_t ms);

/// Gives an event or thread handle back. A thread goes on without it, detached.
/// @return Non-zero when closed, 0 when `h` is not an open handle.
ZEL_API int CloseHandle(HANDLE h);

/// Starts a thread.
/// @param proc       What it runs; the result is not kept.
/// @param parameter  Handed to `proc`; stays the caller's.
/// @return The thread, closed with CloseHandle; NULL when it could not be started.
ZEL_API HANDLE CreateThread(uint32_t (*proc)(void*), void* parameter);

/// Loads a shared library, whatever its file is called.
/// @return The library, released with FreeLibrary; NULL when it cannot be loaded.
ZEL_API HMODULE LoadLibrary(const char* path);

/// Finds an entry point of a loaded library.
/// @return Its address, valid while the library stays loaded; NULL when there is none of that name.
ZEL_API void* GetProcAddress(HMODULE h, const char* name);

/// Releases a library that LoadLibrary gave.
/// @return Non-zero when released, 0 on failure.
ZEL_API int FreeLibrary(HMODULE h);

/// Copies a text with each %NAME% replaced by that environment variable. An unset name stays as it stands,
/// except %ZelDir%: it gives the agent's directory (no trailing slash) also when the environment has none.
/// @param dst   Receives the text; may be NULL when `size` is 0.
/// @param size  Bytes that `dst` can take.
/// @return Bytes that the text needs, its terminating zero included. When that is more than `size`, nothing
///         but a zero in the first byte was written. 0 when `src` is NULL.
ZEL_API uint32_t ExpandEnvironmentStrings(const char* src, char* dst, uint32_t size);

/// Compares `n` bytes, ASCII letters without case.
/// @return 0 when equal, else negative or positive as the first differing byte of `a` is less or greater.
// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the name callers expect
ZEL_API int _memicmp(const void* a, const void* b, size_t n);

#ifdef __cplusplus
}
#endif
