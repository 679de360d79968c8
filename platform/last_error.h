// SPDX-License-Identifier: MIT
// The thread's last error as a result code.
#pragma once

#include "platform/platform.h"

namespace platform {

// Behind a call of the system that failed: 0x80070000 with the low 16 bits of the last error, which
// stands as it is where it is a failing result already. A call that failed and told no reason has
// failed all the same: E_FAIL, and not what would read as success. Nothing says that it was memory.
inline HRESULT ResultOfLastError() noexcept {
  const HRESULT result = HRESULT_FROM_WIN32(static_cast<DWORD>(GetLastError()));
  return FAILED(result) ? result : E_FAIL;
}

}  // namespace platform
