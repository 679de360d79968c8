// SPDX-License-Identifier: MIT
#include "host/services/large_blocks.h"

#include <sys/mman.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <iterator>
#include <mutex>
#include <utility>

namespace host {
namespace {

constexpr std::size_t kPage = std::size_t{2} << 20;
constexpr std::size_t kMostSpareBytes = std::size_t{128} << 20;

struct Block {
  void* address;
  std::size_t size;
};

constinit std::mutex lock;
// The ones that were given back last, the newest first; null behind them.
constinit Block spares[4]{};

char* At(void* block, std::size_t offset) noexcept { return static_cast<char*>(block) + offset; }

void Unmap(void* from, void* end) noexcept {
  if (from != end) munmap(from, static_cast<std::size_t>(At(end, 0) - At(from, 0)));
}

// From an address on at which large pages begin.
void* Map(std::size_t size) noexcept {
  void* const all =
      mmap(nullptr, size + kPage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (all == MAP_FAILED) return nullptr;
  const std::size_t before = (kPage - reinterpret_cast<std::uintptr_t>(all) % kPage) % kPage;
  void* const block = At(all, before);
  Unmap(all, block);
  Unmap(At(block, size), At(all, size + kPage));
#ifdef MADV_HUGEPAGE
  madvise(block, size, MADV_HUGEPAGE);
#endif
  return block;
}

std::size_t InPages(std::size_t bytes) noexcept { return (bytes + kPage - 1) / kPage * kPage; }

// The smallest that is large enough. What is not written of it, the system may still take.
Block TakeSpare(std::size_t size) noexcept {
  const std::lock_guard locked(lock);
  Block* best = std::end(spares);
  for (Block& spare : spares) {
    const bool fits = spare.address && spare.size >= size;
    if (fits && (best == std::end(spares) || spare.size < best->size)) best = &spare;
  }
  if (best == std::end(spares)) return {};
  const Block taken = *best;
  std::move(best + 1, std::end(spares), best);
  spares[std::size(spares) - 1] = {};
  return taken;
}

}  // namespace

void* TakeLargeBlock(std::size_t bytes, std::size_t* size) noexcept {
  const int before = errno;
  Block block = TakeSpare(InPages(bytes));
  if (!block.address) block = {Map(InPages(bytes)), InPages(bytes)};
  *size = block.size;
  errno = before;
  return block.address;
}

void* ResizeLargeBlock(void* block, std::size_t bytes, std::size_t* size) noexcept {
  const std::size_t oldSize = std::exchange(*size, InPages(bytes));
  if (*size <= oldSize) {
    Unmap(At(block, *size), At(block, oldSize));
    return block;
  }
  const int before = errno;
  void* target = Map(*size);
  // Large pages move whole, since either place begins with one.
  if (target && mremap(block, oldSize, oldSize, MREMAP_MAYMOVE | MREMAP_FIXED, target) != target) {
    // What of the place before is still there is not known, and may be somebody else's by now.
    Unmap(At(target, oldSize), At(target, *size));
    target = nullptr;
  }
  errno = before;
  return target;
}

void GiveLargeBlock(void* block, std::size_t size) noexcept {
  const int before = errno;
  if (size > kMostSpareBytes) {
    Unmap(block, At(block, size));
  } else {
#ifdef MADV_FREE
    madvise(block, size, MADV_FREE);
#endif
    const std::lock_guard locked(lock);
    Block next{block, size};
    std::size_t kept = 0;
    for (Block& spare : spares) {
      std::swap(spare, next);
      kept += spare.size;
      if (kept <= kMostSpareBytes) continue;
      Unmap(spare.address, At(spare.address, spare.size));
      spare = {};
    }
    Unmap(next.address, At(next.address, next.size));
  }
  errno = before;
}

void FreeSpareBlocks() noexcept {
  const std::lock_guard locked(lock);
  for (Block& spare : spares) {
    Unmap(spare.address, At(spare.address, spare.size));
    spare = {};
  }
}

}  // namespace host
