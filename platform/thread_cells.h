// SPDX-License-Identifier: MIT
// Something that threads write often: the first threads that ask have a cell of their own, which
// nobody else writes to. A cell is not given back when its thread ends.
#pragma once

#include <array>
#include <atomic>

#include "platform/thread_word.h"

namespace platform {

template <class Cell>
class ThreadCells {
 public:
  using Cells = std::array<Cell, 32>;

  // The calling thread's; null where it has none.
  Cell* Own() noexcept {
    if constexpr (!OwnCell::kIsCheap) return nullptr;
    const std::uintptr_t own = OwnCell::Get();
    return own > kNone ? &cells_[own - kFirst] : own == kNone ? nullptr : Take();
  }
  Cells& All() noexcept { return cells_; }
  const Cells& All() const noexcept { return cells_; }

 private:
  struct Owner;
  using OwnCell = ThreadWord<Owner>;
  // 0 is a thread that has not asked yet.
  static constexpr std::uintptr_t kNone = 1;
  static constexpr std::uintptr_t kFirst = 2;

  [[gnu::noinline]] Cell* Take() noexcept {
    std::size_t next = taken_.load(std::memory_order_relaxed);
    while (next < cells_.size() &&
           !taken_.compare_exchange_weak(next, next + 1, std::memory_order_relaxed)) {
    }
    const bool isThere = next < cells_.size();
    OwnCell::Set(isThere ? next + kFirst : kNone);
    return isThere ? &cells_[next] : nullptr;
  }

  Cells cells_{};
  std::atomic<std::size_t> taken_{0};
};

}  // namespace platform
