// SPDX-License-Identifier: MIT
#include "host/base/last_error.h"

namespace {

constinit thread_local DWORD lastError = 0;

}  // namespace

DWORD GetLastError() noexcept { return lastError; }

void SetLastError(DWORD error) noexcept { lastError = error; }
