// SPDX-License-Identifier: MIT
// Memory of many pages at once. A page costs the system some time when it is first touched, and a
// picture of 12 MB has three thousand of the usual ones.
#pragma once

#include <cstddef>
#include <cstdint>

#ifdef __linux__
#include <sys/mman.h>

#include <cerrno>
#endif

namespace platform {

// Asks for large pages behind a block that is large enough for them, where the system has such. The
// content stays; memory that nobody has touched still costs nothing.
inline void PreferLargePages([[maybe_unused]] void* memory,
                             [[maybe_unused]] std::size_t bytes) noexcept {
#ifdef MADV_HUGEPAGE
  constexpr std::size_t kWorthwhile = std::size_t{4} << 20;
  constexpr std::uintptr_t kPage = 4096;
  if (bytes < kWorthwhile) return;
  const auto begin = (reinterpret_cast<std::uintptr_t>(memory) + kPage - 1) / kPage * kPage;
  const auto end = (reinterpret_cast<std::uintptr_t>(memory) + bytes) / kPage * kPage;
  // That it is not to be had is no failure.
  const int before = errno;
  madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);
  errno = before;
#endif
}

}  // namespace platform
