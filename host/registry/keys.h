// SPDX-License-Identifier: MIT
// The registry: one tree, HKEY_CLASSES_ROOT, in memory and in a file of this host.
//
// The file is the one of HostUseRegistryFile, or else named by the environment variable
// RASTEL_HOST_REGISTRY (empty: no file), or else $XDG_DATA_HOME/rastelhost/registry, or else
// $HOME/.local/share/rastelhost/registry. It is read at the first call, and again when another
// process has replaced it. Every change is written through: another file is written beside it and
// takes its place, so that a reader sees the old or the new tree and nothing between. If that
// fails, the change has not happened. Writers of several processes take turns by a lock file beside
// it. Without a file the tree lives in memory only.
//
// Beneath the file lie the registry files that packages have put into rastelhost/registry.d in the
// folders of XDG_DATA_DIRS (/usr/local/share and /usr/share by default): what the file says stands
// in the place of what they say, and taking away something of theirs is ERROR_ACCESS_DENIED. They
// are read once. Without a file there are none.
//
// Names are compared without regard to case and keep the case they were made with. A path is names
// between backslashes. Handles are numbers that the host looks up: a wrong one is refused.
//
// Limits: 64 levels of keys, key names of 1 to 255 units, value names up to 16383 units, values up
// to 1 MiB, files up to 64 MiB. What goes beyond is ERROR_INVALID_PARAMETER (the file:
// ERROR_CANTWRITE).
//
// Results of all calls, besides those named below: ERROR_INVALID_HANDLE; ERROR_KEY_DELETED for a
// handle whose key is gone, also when this process made it anew; ERROR_BADDB when the file is
// damaged (it is then neither read nor written until someone replaces it); ERROR_CANTREAD and
// ERROR_CANTWRITE when the system refuses; ERROR_NOT_ENOUGH_MEMORY; ERROR_INVALID_PARAMETER for a
// reserved argument that is not 0 and a null out pointer; ERROR_BAD_PATHNAME for a path that begins
// with a backslash; ERROR_ACCESS_DENIED when the handle was opened without the right needed. All
// calls may be made from any thread.
#pragma once

#include "host/base/constants.h"

using REGSAM = DWORD;
using LPDWORD = DWORD*;
using LPBYTE = BYTE*;
using PHKEY = HKEY*;
using PFILETIME = FILETIME*;
struct SECURITY_ATTRIBUTES;
using LPSECURITY_ATTRIBUTES = SECURITY_ATTRIBUTES*;

// HKEY_CLASSES_ROOT is the one of this host; the others are refused like any wrong handle. Macros,
// as on the platform: a client may ask whether they are defined, and no file that includes this has
// to initialise them.
inline HKEY HostPredefinedKey(ULONG bits) noexcept {
  return reinterpret_cast<HKEY>(static_cast<ULONG_PTR>(static_cast<LONG>(bits)));
}
#define HKEY_CLASSES_ROOT HostPredefinedKey(0x80000000)
#define HKEY_CURRENT_USER HostPredefinedKey(0x80000001)
#define HKEY_LOCAL_MACHINE HostPredefinedKey(0x80000002)
#define HKEY_USERS HostPredefinedKey(0x80000003)
#define HKEY_CURRENT_CONFIG HostPredefinedKey(0x80000005)

// Opens a key or makes it with all keys on the way. The class text and the security attributes are
// ignored; a null or empty path is the key itself. Volatile keys are kept like all others.
// *disposition (may be null): REG_CREATED_NEW_KEY or REG_OPENED_EXISTING_KEY.
RASTEL_HOST_API LSTATUS RegCreateKeyExW(HKEY key, LPCWSTR path, DWORD reserved, LPWSTR className,
                                        DWORD options, REGSAM rights,
                                        const LPSECURITY_ATTRIBUTES security, PHKEY out,
                                        LPDWORD disposition) noexcept;

// Opens a key: ERROR_FILE_NOT_FOUND if it is missing. A null or empty path is the key itself.
RASTEL_HOST_API LSTATUS RegOpenKeyExW(HKEY key, LPCWSTR path, DWORD options, REGSAM rights,
                                      PHKEY out) noexcept;

// Gives a handle up; the predefined one stays.
RASTEL_HOST_API LSTATUS RegCloseKey(HKEY key) noexcept;

// Sets a value; the null or empty name is the default value. The data are kept as they come, texts
// with their terminator if the size counts it.
RASTEL_HOST_API LSTATUS RegSetValueExW(HKEY key, LPCWSTR name, DWORD reserved, DWORD type,
                                       const BYTE* data, DWORD bytes) noexcept;

// Reads a value. A null data pointer asks for the size; with too little room the result is
// ERROR_MORE_DATA, *bytes the size and the data are untouched; a missing value is
// ERROR_FILE_NOT_FOUND. A text stored without terminator gets one behind its data when there is
// room.
RASTEL_HOST_API LSTATUS RegQueryValueExW(HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type,
                                         LPBYTE data, LPDWORD bytes) noexcept;

// Deletes a value: ERROR_FILE_NOT_FOUND if it is missing.
RASTEL_HOST_API LSTATUS RegDeleteValueW(HKEY key, LPCWSTR name) noexcept;

// Deletes a key with its values: ERROR_ACCESS_DENIED if it has keys below it or is the root,
// ERROR_FILE_NOT_FOUND if it is missing, ERROR_INVALID_PARAMETER for a null path.
RASTEL_HOST_API LSTATUS RegDeleteKeyW(HKEY key, LPCWSTR path) noexcept;

// Deletes a key and all below it; with a null or empty path all keys and values of the key, which
// itself stays. ERROR_FILE_NOT_FOUND if it is missing.
RASTEL_HOST_API LSTATUS RegDeleteTreeW(HKEY key, LPCWSTR path) noexcept;

// The name of the key below with an index, counted from 0 in the order of the names:
// ERROR_NO_MORE_ITEMS behind the last. *nameUnits is the room with the terminator, afterwards the
// length without it; ERROR_MORE_DATA if the room is too small. className becomes empty and
// *lastWrite zero.
RASTEL_HOST_API LSTATUS RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, LPDWORD nameUnits,
                                      LPDWORD reserved, LPWSTR className, LPDWORD classUnits,
                                      PFILETIME lastWrite) noexcept;

// Name and content of the value with an index, as RegEnumKeyExW and RegQueryValueExW give them.
RASTEL_HOST_API LSTATUS RegEnumValueW(HKEY key, DWORD index, LPWSTR name, LPDWORD nameUnits,
                                      LPDWORD reserved, LPDWORD type, LPBYTE data,
                                      LPDWORD bytes) noexcept;

// Changes are always written through, so this only tests the handle.
RASTEL_HOST_API LSTATUS RegFlushKey(HKEY key) noexcept;

// Takes another registry file from now on, or none (memory only) when path is null, and drops the
// tree in memory. Handles to keys that the new tree does not have are ERROR_KEY_DELETED afterwards,
// the predefined one goes on. An empty path is none as well. E_OUTOFMEMORY. S_OK says nothing about
// the file.
RASTEL_HOST_API HRESULT HostUseRegistryFile(const char* path) noexcept;

// The bytes of the path of the registry file, without a terminator; 0 when there is none. Copied
// into `path` with a terminator if there is room for both; null to ask for the count alone.
RASTEL_HOST_API ULONG HostRegistryFile(char* path, ULONG room) noexcept;
