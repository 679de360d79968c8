// SPDX-License-Identifier: MIT
// The memory of objects: clients make and drop small objects all the time, views of a picture above
// all, and so a thread keeps a few blocks of each size for the next ones. Sanitizers see every
// object's own allocation.
#pragma once

#include <array>
#include <cstddef>
#include <new>

#include "host/base/single_thread.h"
#include "platform/thread_cells.h"

namespace platform {

class ObjectMemory {
 public:
  // While a process ends other threads may still make objects; their blocks stay then.
  ~ObjectMemory() {
    if (!host::IsSingleThreaded()) return;
    for (Lists& lists : cells_.All()) {
      for (List& list : lists) {
        while (void* block = list.Take()) ::operator delete(block);
      }
    }
  }

  // Null without memory.
  void* Allocate(std::size_t bytes) noexcept {
    if (List* const list = ListOf(bytes)) {
      if (void* block = list->Take()) return block;
      bytes = RoundedUp(bytes);
    }
    return ::operator new(bytes, std::nothrow);
  }
  void Free(void* block, std::size_t bytes) noexcept {
    List* const list = ListOf(bytes);
    if (!list || !list->Keep(block)) ::operator delete(block);
  }

 private:
  static constexpr std::size_t kStep = 64;
  static constexpr std::size_t kSizes = 12;
  // As many as the tiles of a picture are.
  static constexpr std::size_t kMostKept = 100;

  struct List {
    struct Block {
      Block* next;
    };
    Block* first = nullptr;
    std::size_t count = 0;

    void* Take() noexcept {
      Block* const block = first;
      if (!block) return nullptr;
      first = block->next;
      --count;
      return block;
    }
    bool Keep(void* memory) noexcept {
      if (count == kMostKept) return false;
      first = new (memory) Block{first};
      ++count;
      return true;
    }
  };
  using Lists = std::array<List, kSizes>;

  static constexpr std::size_t RoundedUp(std::size_t bytes) noexcept {
    return (bytes + kStep - 1) / kStep * kStep;
  }
  // Null where blocks of the size are not kept.
  List* ListOf([[maybe_unused]] std::size_t bytes) noexcept {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return nullptr;
#else
    const std::size_t size = (bytes - 1) / kStep;
    if (size >= kSizes) return nullptr;
    Lists* const own = cells_.Own();
    return own ? &(*own)[size] : nullptr;
#endif
  }

  ThreadCells<Lists> cells_;
};

inline constinit ObjectMemory objectMemory;

}  // namespace platform
