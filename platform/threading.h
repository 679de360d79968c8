// SPDX-License-Identifier: MIT
// Reference counts and critical sections of objects: the thread model that CComObjectRootEx is
// instantiated with.
#pragma once

#include <atomic>

#include "platform/last_error.h"

namespace platform {

// A critical section that may not exist: initialising it can fail, and then it is not deleted.
class CComCriticalSection {
 public:
  constexpr CComCriticalSection() = default;
  CComCriticalSection(const CComCriticalSection&) = delete;
  CComCriticalSection& operator=(const CComCriticalSection&) = delete;
  ~CComCriticalSection() { Term(); }

  // S_OK, or a failure: see ResultOfLastError.
  HRESULT Init() noexcept {
    if (!InitializeCriticalSectionAndSpinCount(&section_, 0)) return ResultOfLastError();
    initialised_ = true;
    return S_OK;
  }
  void Term() noexcept {
    if (!initialised_) return;
    initialised_ = false;
    DeleteCriticalSection(&section_);
  }
  void Lock() noexcept { EnterCriticalSection(&section_); }
  void Unlock() noexcept { LeaveCriticalSection(&section_); }

 private:
  CRITICAL_SECTION section_{};
  bool initialised_ = false;
};

// Objects that any thread may call: atomic counts, a real critical section.
struct CComMultiThreadModel {
  using CriticalSection = CComCriticalSection;

  static ULONG Increment(std::atomic<ULONG>& count) noexcept {
    return count.fetch_add(1, std::memory_order_relaxed) + 1;
  }
  // The only reference is the caller's, and nobody can take another meanwhile: that end costs no
  // atomic operation.
  static ULONG Decrement(std::atomic<ULONG>& count) noexcept {
    if (count.load(std::memory_order_acquire) == 1) {
      count.store(0, std::memory_order_relaxed);
      return 0;
    }
    return count.fetch_sub(1, std::memory_order_acq_rel) - 1;
  }
};

// Holds a lock for a scope, also where an exception leaves it.
template <class Lockable>
class ScopedLock {
 public:
  explicit ScopedLock(Lockable& lockable) noexcept : lockable_(lockable) { lockable_.Lock(); }
  ~ScopedLock() { lockable_.Unlock(); }
  ScopedLock(const ScopedLock&) = delete;
  ScopedLock& operator=(const ScopedLock&) = delete;

 private:
  Lockable& lockable_;
};

}  // namespace platform
