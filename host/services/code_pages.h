// SPDX-License-Identifier: MIT
// Conversion between narrow texts and UTF-16. The narrow code page of this host is UTF-8: CP_ACP,
// CP_THREAD_ACP and CP_UTF8 are one and the same, and no text is lost on its way through it.
//
// Both directions: a negative length means a terminated text, and the terminator is converted with
// it; an explicit length converts exactly so much, embedded nulls too, and adds no terminator. With
// a room of 0 the result is the room needed and nothing is written. Otherwise the result counts the
// units written. 0 is a failure and the last error tells which:
// clang-format off
//   ERROR_INVALID_PARAMETER       length 0, null source, null target with room, negative room,
//                                 target and source the same, another code page
//   ERROR_INVALID_FLAGS           a flag that is not named below
//   ERROR_NO_UNICODE_TRANSLATION  ill-formed text, when the flags ask for that
//   ERROR_INSUFFICIENT_BUFFER     the room is too small; it holds the characters that fit
//   ERROR_ARITHMETIC_OVERFLOW     the result is above 2147483647 units
// clang-format on
#pragma once

#include "host/base/constants.h"

// The code page behind CP_ACP: CP_UTF8.
RASTEL_HOST_API UINT GetACP() noexcept;

// Flags: MB_ERR_INVALID_CHARS refuses ill-formed text; without it each maximal part of a sequence
// that cannot be completed becomes one U+FFFD. MB_PRECOMPOSED is accepted and changes nothing, but
// not with CP_UTF8 by name. Lengths are in bytes, room and result in UTF-16 units.
RASTEL_HOST_API int MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR text, int bytes,
                                        LPWSTR target, int roomUnits) noexcept;

// Flags: WC_ERR_INVALID_CHARS refuses lone surrogates; without it each becomes EF BF BD.
// WC_NO_BEST_FIT_CHARS is accepted and changes nothing, but not with CP_UTF8 by name.
// defaultChar is never needed and *usedDefault becomes FALSE; with CP_UTF8 by name both must be
// null (ERROR_INVALID_PARAMETER). Lengths are in UTF-16 units, room and result in bytes.
RASTEL_HOST_API int WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR text, int units,
                                        LPSTR target, int roomBytes, LPCSTR defaultChar,
                                        BOOL* usedDefault) noexcept;
