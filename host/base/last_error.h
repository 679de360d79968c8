// SPDX-License-Identifier: MIT
// The last error of the calling thread: 0 in a fresh thread, set by operations that say so.
#pragma once

#include "host/base/scalars.h"

RASTEL_HOST_API DWORD GetLastError() noexcept;
RASTEL_HOST_API void SetLastError(DWORD error) noexcept;
