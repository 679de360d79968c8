// SPDX-License-Identifier: MIT
// The memory of objects and of what they hold: clients make and drop small objects all the time,
// views of a picture above all, and so a thread keeps some blocks of each size for the next ones.
// Sanitizers see every object's own allocation.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <new>

#include "host/base/single_thread.h"
#include "platform/thread_cells.h"

namespace platform {

// Which blocks lie in one list.
struct BlockSizes {
  static constexpr std::size_t kStep = 64;
  // Up to here a list has blocks of one size; beyond, of sizes that differ by less than half.
  static constexpr std::size_t kOneSizeBytes = 768;
  // Larger blocks are not kept.
  static constexpr std::size_t kMostBytes = 16 * 1024;

  static constexpr std::size_t RoundedUp(std::size_t bytes) noexcept {
    return (bytes + kStep - 1) / kStep * kStep;
  }
  static constexpr std::size_t ListOf(std::size_t bytes) noexcept {
    const std::size_t steps = RoundedUp(bytes) / kStep;
    constexpr std::size_t kOneSize = kOneSizeBytes / kStep;
    if (steps <= kOneSize) return steps - 1;
    // Two for each doubling.
    const auto width = static_cast<std::size_t>(std::bit_width(steps));
    constexpr std::size_t kFirst = std::size_t{std::bit_width(kOneSize + 1)} * 2;
    return kOneSize + width * 2 + (steps >> (width - 2) & 1) - kFirst;
  }
};

class ObjectMemory {
 public:
  // While a process ends other threads may still make objects; their blocks stay then.
  ~ObjectMemory() {
    if (!host::IsSingleThreaded()) return;
    for (Lists& lists : cells_.All()) {
      for (List& list : lists) {
        while (void* block = list.Take(0)) ::operator delete(block);
      }
    }
  }

  // Null without memory.
  void* Allocate(std::size_t bytes) noexcept {
    if (kKeepsBlocks && bytes <= kMostBytes) {
      if (Lists* const lists = cells_.Own()) {
        if (void* block = (*lists)[BlockSizes::ListOf(bytes)].Take(BlockSizes::RoundedUp(bytes)))
          return block;
      }
      bytes = BlockSizes::RoundedUp(bytes);
    }
    return ::operator new(bytes, std::nothrow);
  }
  // Of as many bytes as it was allocated with.
  void Free(void* block, std::size_t bytes) noexcept {
    if (kKeepsBlocks && bytes <= kMostBytes) {
      Lists* const lists = cells_.Own();
      if (lists && (*lists)[BlockSizes::ListOf(bytes)].Keep(block, BlockSizes::RoundedUp(bytes)))
        return;
    }
    ::operator delete(block);
  }

  static constexpr std::size_t kMostBytes = BlockSizes::kMostBytes;

 private:
  // Where not, a block has just the bytes that are asked for, so that nobody may go beyond.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  static constexpr bool kKeepsBlocks = false;
#else
  static constexpr bool kKeepsBlocks = true;
#endif
  // As many as the tiles of a picture are.
  static constexpr std::size_t kMostOfOneSize = 100;
  static constexpr std::size_t kMostOfMany = 4;

  struct List {
    struct Block {
      Block* next;
      std::size_t bytes;
    };
    Block* first = nullptr;
    std::size_t count = 0;

    void* Take(std::size_t bytes) noexcept {
      Block* const block = first;
      if (!block || block->bytes < bytes) return nullptr;
      first = block->next;
      --count;
      return block;
    }
    bool Keep(void* memory, std::size_t bytes) noexcept {
      if (count >= (bytes <= BlockSizes::kOneSizeBytes ? kMostOfOneSize : kMostOfMany))
        return false;
      first = new (memory) Block{first, bytes};
      ++count;
      return true;
    }
  };

  using Lists = std::array<List, BlockSizes::ListOf(kMostBytes) + 1>;

  ThreadCells<Lists> cells_;
};

inline constinit ObjectMemory objectMemory;

}  // namespace platform
