// SPDX-License-Identifier: MIT
// Whether the process has no second thread now: counts need no atomic step then. Where nobody knows
// the answer is no.
#pragma once

#include <atomic>

#if __has_include(<sys/single_threaded.h>)
#include <sys/single_threaded.h>
#endif

namespace host {

inline bool IsSingleThreaded() noexcept {
#if __has_include(<sys/single_threaded.h>)
  return __libc_single_threaded != 0;
#else
  return false;
#endif
}

// What a count of references is after one more, and after one less. Nobody can take a reference
// while the only one is the caller's, so that end costs no atomic step either.
template <class Count>
Count CountUp(std::atomic<Count>& count) noexcept {
  if (IsSingleThreaded()) {
    const Count more = count.load(std::memory_order_relaxed) + 1;
    count.store(more, std::memory_order_relaxed);
    return more;
  }
  return count.fetch_add(1, std::memory_order_relaxed) + 1;
}
template <class Count>
Count CountDown(std::atomic<Count>& count) noexcept {
  const Count less = count.load(std::memory_order_acquire) - 1;
  if (less == 0 || IsSingleThreaded()) {
    count.store(less, std::memory_order_relaxed);
    return less;
  }
  return count.fetch_sub(1, std::memory_order_acq_rel) - 1;
}

}  // namespace host
