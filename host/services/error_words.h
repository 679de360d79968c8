// SPDX-License-Identifier: MIT
// Words for the result codes that any operation may fail with.
#pragma once

#include "host/base/constants.h"

// Writes the words for a code, with a line end, and gives their count of units without the
// terminator. Of the platform's ways to ask this host knows one: FORMAT_MESSAGE_FROM_SYSTEM with
// FORMAT_MESSAGE_IGNORE_INSERTS; the source, the language and the arguments are not looked at.
// 0 is a failure and the last error tells which:
// clang-format off
//   ERROR_INVALID_PARAMETER    other flags, null target
//   ERROR_MR_MID_NOT_FOUND     a code without words
//   ERROR_INSUFFICIENT_BUFFER  the room, in units, is too small; nothing is written
// clang-format on
RASTEL_HOST_API DWORD FormatMessageW(DWORD flags, const void* source, DWORD code, DWORD language,
                                     LPWSTR target, DWORD room, void* arguments) noexcept;
