// SPDX-License-Identifier: MIT
// Counted UTF-16 strings. A BSTR points at the first unit; the 4 bytes before it hold the length in
// bytes, a zero unit follows the text. Each string costs one allocation and its text is aligned to
// 16 bytes. The owner frees it with SysFreeString. Any thread may call; a string itself has no
// lock.
#pragma once

#include "host/base/scalars.h"

// Copies a text up to its terminator. Null for a null text and when memory cannot be had.
RASTEL_HOST_API BSTR STDAPICALLTYPE SysAllocString(const OLECHAR* text) noexcept;

// A string of `units` units, embedded zeros kept. A null text gives zeroed units here; elsewhere
// they are undefined. Null when the length does not fit 32 bits of bytes or memory cannot be had.
RASTEL_HOST_API BSTR STDAPICALLTYPE SysAllocStringLen(const OLECHAR* text, UINT units) noexcept;

// A string of `bytes` bytes, copied as they are; the count may be odd. Otherwise as above.
RASTEL_HOST_API BSTR STDAPICALLTYPE SysAllocStringByteLen(LPCSTR text, UINT bytes) noexcept;

// Replaces *string by a copy of the text, which may lie inside the old string; a null text leaves
// null. TRUE, or FALSE with *string unchanged when `string` is null or memory cannot be had.
RASTEL_HOST_API INT STDAPICALLTYPE SysReAllocString(BSTR* string, const OLECHAR* text) noexcept;

// The same with a length in units. A null text resizes the old string and keeps what fits.
RASTEL_HOST_API INT STDAPICALLTYPE SysReAllocStringLen(BSTR* string, const OLECHAR* text,
                                                       UINT units) noexcept;

// Null is allowed.
RASTEL_HOST_API void STDAPICALLTYPE SysFreeString(BSTR string) noexcept;

// Length in whole units without terminator; 0 for null.
RASTEL_HOST_API UINT STDAPICALLTYPE SysStringLen(BSTR string) noexcept;

// Length in bytes without terminator; 0 for null.
RASTEL_HOST_API UINT STDAPICALLTYPE SysStringByteLen(BSTR string) noexcept;
