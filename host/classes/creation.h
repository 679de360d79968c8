// SPDX-License-Identifier: MIT
// Making objects. A class is looked for in three places, in this order: classes registered by this
// process with CoRegisterClassObject, classes of the host itself, and the registry
// (HKEY_CLASSES_ROOT\CLSID\{...}\InprocServer32), whose module is loaded once and asked for
// DllGetClassObject. Which module a class has is remembered until the registry changes; a change by
// another process is noticed at the next look-up there. All classes live in the process and in
// every thread. No lock of the host is held while foreign code runs.
#pragma once

#include "host/base/interfaces.h"
#include "host/registry/keys.h"
#include "host/services/module_files.h"

struct COSERVERINFO;
using LPUNKNOWN = IUnknown*;
using LPDWORD = DWORD*;

// Makes an object by one CreateInstance(outer, iid) on the class's factory and passes its result
// on. E_POINTER for a null out; on every failure *out is null. Only contexts with
// CLSCTX_INPROC_SERVER find a class. REGDB_E_CLASSNOTREG: no such class. REGDB_E_READREGDB: the
// registry cannot be read. CO_E_DLLNOTFOUND: the module is missing or cannot be loaded.
// CO_E_ERRORINDLL: it has no DllGetClassObject.
RASTEL_HOST_API HRESULT CoCreateInstance(REFCLSID classId, LPUNKNOWN outer, DWORD context,
                                         REFIID iid, LPVOID* out) noexcept;

// The factory of a class, found as above, but E_INVALIDARG for a null out. The server is ignored.
RASTEL_HOST_API HRESULT CoGetClassObject(REFCLSID classId, DWORD context, LPVOID server, REFIID iid,
                                         LPVOID* out) noexcept;

// Puts a factory in front of all other places, seen by all threads; takes one reference on it. The
// cookie is never 0. A class may be registered several times: the oldest factory is used until it
// is revoked. With REGCLS_MULTIPLEUSE a CLSCTX_LOCAL_SERVER factory also serves this process; the
// other flags have no effect. E_INVALIDARG for a null factory or cookie, E_OUTOFMEMORY.
RASTEL_HOST_API HRESULT CoRegisterClassObject(REFCLSID classId, LPUNKNOWN factory, DWORD context,
                                              DWORD flags, LPDWORD cookie) noexcept;

// Takes a factory back and releases it, at once or when the calls that are using it have ended.
// E_INVALIDARG for an unknown cookie.
RASTEL_HOST_API HRESULT CoRevokeClassObject(DWORD cookie) noexcept;

// Unloads the modules whose DllCanUnloadNow says S_OK and in which no call of this host is under
// way: at once what only the calling thread has called, in an apartment of its own. Other threads
// may still be on their way out of a Release, which nobody counts, so what they may have called
// goes ten minutes after it was first seen unused here. A module's factories do not keep it loaded:
// a client that holds one locks it with LockServer. Memory of streams that the host keeps to use
// again goes back to the system.
RASTEL_HOST_API void CoFreeUnusedLibraries() noexcept;

// The class behind a ProgID: its key's CLSID. CO_E_CLASSSTRING if there is none (*classId is zero),
// E_INVALIDARG for null arguments, REGDB_E_READREGDB if the registry cannot be read.
RASTEL_HOST_API HRESULT CLSIDFromProgID(LPCOLESTR progId, CLSID* classId) noexcept;

// The versioned ProgID of a class, to be freed with CoTaskMemFree. REGDB_E_CLASSNOTREG and null if
// the class or its ProgID is not registered, E_INVALIDARG for a null out.
RASTEL_HOST_API HRESULT ProgIDFromCLSID(REFCLSID classId, LPOLESTR* progId) noexcept;
