// SPDX-License-Identifier: MIT
// The state that every module has one of: the count that keeps it loaded.
// Inline variables with hidden visibility are one per module, not one per process.
#pragma once

#include <atomic>

#include "platform/platform.h"

namespace platform {

// Live objects and server locks. 0 means that the module may be unloaded.
inline std::atomic<LONG> moduleLockCount{0};

inline LONG LockModule() noexcept {
  return moduleLockCount.fetch_add(1, std::memory_order_relaxed) + 1;
}
inline LONG UnlockModule() noexcept {
  return moduleLockCount.fetch_sub(1, std::memory_order_acq_rel) - 1;
}

}  // namespace platform
