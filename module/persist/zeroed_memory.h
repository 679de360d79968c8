// SPDX-License-Identifier: MIT
// Memory that a loader has a stream fill: zeroed lazily by the system, so that a short stream that
// states a huge size neither writes nor keeps resident what it does not deliver.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>

namespace rastel {

struct FreeMemory {
  void operator()(void* block) const noexcept { std::free(block); }
};

template <class T>
using ZeroedMemory = std::unique_ptr<T[], FreeMemory>;

// Room for at least one element. Null when the memory cannot be had.
template <class T>
ZeroedMemory<T> AllocateZeroed(std::uint64_t count) noexcept {
  constexpr std::uint64_t kMostBytes = std::numeric_limits<std::ptrdiff_t>::max();
  if (count > kMostBytes / sizeof(T)) return nullptr;
  const auto elements = static_cast<std::size_t>(count != 0 ? count : 1);
  return ZeroedMemory<T>(static_cast<T*>(std::calloc(elements, sizeof(T))));
}

}  // namespace rastel
