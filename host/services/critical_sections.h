// SPDX-License-Identifier: MIT
// Recursive locks of one process. A section does not allocate, so making one cannot run out of
// memory; it must not be moved or copied between initialisation and deletion.
#pragma once

#include "host/base/scalars.h"

// Opaque; as large as on the real platform.
struct CRITICAL_SECTION {
  alignas(8) BYTE opaque[40];
};
using LPCRITICAL_SECTION = CRITICAL_SECTION*;

// TRUE, or FALSE with the reason as last error. The spin count is a hint that this host ignores.
RASTEL_HOST_API BOOL InitializeCriticalSectionAndSpinCount(LPCRITICAL_SECTION section,
                                                           DWORD spinCount) noexcept;

// Waits until the calling thread owns the section; an owner may enter again and leaves as often.
RASTEL_HOST_API void EnterCriticalSection(LPCRITICAL_SECTION section) noexcept;

// TRUE when the section was entered, FALSE when another thread owns it.
RASTEL_HOST_API BOOL TryEnterCriticalSection(LPCRITICAL_SECTION section) noexcept;

// Leaves once. A thread that does not own the section changes nothing.
RASTEL_HOST_API void LeaveCriticalSection(LPCRITICAL_SECTION section) noexcept;

// Ends the section's use; nobody may own it or wait for it.
RASTEL_HOST_API void DeleteCriticalSection(LPCRITICAL_SECTION section) noexcept;
