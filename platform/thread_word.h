// SPDX-License-Identifier: MIT
// A machine word that every thread has for itself: it reads 0 in a new thread, and there is nothing
// to undo at a thread's end. Neither reading nor writing it can end the process for want of memory,
// as a variable of the language can where a thread's first use of it asks for some.
#pragma once

#include <cstdint>

#include "platform/platform.h"

namespace platform {

// Owner: any type of its own, which tells one word from another.
template <class Owner>
class ThreadWord {
 public:
#ifdef _WIN32
  // Whether Get is as cheap as reading a variable.
  static constexpr bool kIsCheap = false;
  static std::uintptr_t Get() noexcept {
    return reinterpret_cast<std::uintptr_t>(TlsGetValue(slot_.index));
  }
  // False where the thread can have no word; it reads 0 then.
  static bool Set(std::uintptr_t value) noexcept {
    return TlsSetValue(slot_.index, reinterpret_cast<void*>(value)) != FALSE;
  }

 private:
  struct Slot {
    const DWORD index = TlsAlloc();
    ~Slot() { TlsFree(index); }
  };
  static inline const Slot slot_;
#else
  static constexpr bool kIsCheap = true;
  static std::uintptr_t Get() noexcept { return word_; }
  static bool Set(std::uintptr_t value) noexcept {
    word_ = value;
    return true;
  }

 private:
  // Beside the thread's other static data, which is there from its start.
  [[gnu::tls_model("initial-exec")]] static inline constinit thread_local std::uintptr_t word_ = 0;
#endif
};

}  // namespace platform
