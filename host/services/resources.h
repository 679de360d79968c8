// SPDX-License-Identifier: MIT
// Resources of the modules in this process: strings, registration scripts, pictures. A shared
// library of this system has no resource section, so a module hands its rows over when it is loaded
// and takes them back before it is unloaded. All calls may be made from any thread.
#pragma once

#include "host/base/results.h"

// One resource. The type is a text (compared without regard to case) or, when that is null, a
// number.
struct HostResource {
  LPCOLESTR type;
  UINT typeNumber;
  UINT number;
  WORD language;  // such as 0x0407 German, 0x0409 English; look-ups do not ask for it
  const void* bytes;
  DWORD size;  // in bytes
};

// The type of strings. Each row is one string under its own number: UTF-16 units, aligned as
// such, without terminator.
inline constexpr UINT kHostStringResourceType = 6;

// The rows of one module. It lies in the module's memory, so that handing them over needs none.
struct HostResourceRows {
  HINSTANCE module;  // as HostModuleOf (host/services/module_files.h) gives it
  const HostResource* rows;
  SIZE_T count;
  HostResourceRows* next;  // the host's
};

// Hands over a module's rows, once per module. The structure, rows, texts and bytes are kept by
// pointer until HostRemoveResources. E_INVALIDARG: null pointer, module or rows, no row, or a
// module that has rows already.
RASTEL_HOST_API HRESULT HostAddResources(HostResourceRows* rows) noexcept;

// Takes the rows of a module back. S_FALSE when they are not there. No look-up that is under way in
// another thread uses them any more when the call returns; what HostFindResource gave out is the
// caller's care.
RASTEL_HOST_API HRESULT HostRemoveResources(HostResourceRows* rows) noexcept;

// Finds the first row with a type and a number, in any language, and copies it to *out, whose
// pointers stay the module's. On failure *out is all zero: 0x80070714 module without rows,
// 0x80070715 no row of that type, 0x80070716 none with that number; E_POINTER for a null out.
RASTEL_HOST_API HRESULT HostFindResource(HINSTANCE module, LPCOLESTR type, UINT typeNumber,
                                         UINT number, HostResource* out) noexcept;

// Copies a string of a module as narrow text in the host's code page, cut behind the last whole
// character that fits, and terminates it. The result counts the bytes without the terminator; it is
// 0 with an empty buffer when the string is absent. Room is in bytes, with the terminator: room 0
// gives -1, and a null buffer or a negative room 0, without anything written.
RASTEL_HOST_API int LoadStringA(HINSTANCE module, UINT number, LPSTR buffer, int room) noexcept;
