// SPDX-License-Identifier: MIT
// Reference counts and critical sections of objects: the thread model that CComObjectRootEx is
// instantiated with.
#pragma once

#include <atomic>

#include "host/base/single_thread.h"
#include "platform/last_error.h"

namespace platform {

using host::IsSingleThreaded;

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

  static ULONG Increment(std::atomic<ULONG>& count) noexcept { return host::CountUp(count); }
  static ULONG Decrement(std::atomic<ULONG>& count) noexcept { return host::CountDown(count); }
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
