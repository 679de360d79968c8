// How many blocks of memory an operation of the host asks for, on this thread. Only a sanitized
// build of the embedded host can tell.
#pragma once

#include <cstddef>

#include "platform/platform.h"

#ifndef _WIN32
extern "C" __attribute__((weak)) int __sanitizer_install_malloc_and_free_hooks(
    void (*malloced)(const volatile void*, std::size_t), void (*freed)(const volatile void*));
#endif

namespace tests {

inline constexpr int kCannotCount = -1;

#ifndef _WIN32

inline thread_local int allocationsSeen = 0;

inline bool SeesAllocations() {
  if (!__sanitizer_install_malloc_and_free_hooks) return false;
  static const int installed = __sanitizer_install_malloc_and_free_hooks(
      [](const volatile void*, std::size_t) { ++allocationsSeen; }, [](const volatile void*) {});
  return installed != 0;
}

template <class Operation>
int CountAllocations(Operation operation) {
  if (!SeesAllocations()) return kCannotCount;
  const int before = allocationsSeen;
  operation();
  return allocationsSeen - before;
}

#else

template <class Operation>
int CountAllocations(Operation operation) {
  operation();
  return kCannotCount;
}

#endif

}  // namespace tests
