// SPDX-License-Identifier: MIT
// The state that every module has one of: the count that keeps it loaded.
// Inline variables with hidden visibility are one per module, not one per process.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>

#include "platform/platform.h"
#include "platform/thread_word.h"

namespace platform {

// Live objects and server locks. Every object counts here twice in its life, so the first threads
// have cells of their own, which nobody else writes to; all other threads share one. What begins
// and what ends is counted apart: who sees an end has seen its beginning as well, and so a sum that
// is taken while others count is never 0 while something lives.
class ModuleCount {
 public:
  void Add() noexcept { Count<&Cell::begun>(); }
  void Drop() noexcept { Count<&Cell::ended>(); }

  // 0 means that the module may be unloaded.
  std::int64_t Sum() const noexcept {
    std::uint64_t ended = 0;
    std::uint64_t begun = 0;
    for (const Cell& cell : cells_) ended += cell.ended.load(std::memory_order_acquire);
    for (const Cell& cell : cells_) begun += cell.begun.load(std::memory_order_acquire);
    return static_cast<std::int64_t>(begun - ended);
  }

 private:
  struct alignas(64) Cell {
    std::atomic<std::uint64_t> begun{0};
    std::atomic<std::uint64_t> ended{0};
  };
  struct CellOwner;
  using OwnCell = ThreadWord<CellOwner>;

  template <std::atomic<std::uint64_t> Cell::*counter>
  void Count() noexcept {
    if constexpr (OwnCell::kIsCheap) {
      const std::uintptr_t own = OwnCell::Get();
      if (own > kShared) {
        auto& count = cells_[own].*counter;
        count.store(count.load(std::memory_order_relaxed) + 1, std::memory_order_release);
        return;
      }
      if (own == 0) TakeCell();
    }
    (cells_[kShared].*counter).fetch_add(1, std::memory_order_acq_rel);
  }
  // Cells are not given back: a later thread must not write beside one that reads it still.
  void TakeCell() noexcept {
    std::uintptr_t cell = nextCell_.load(std::memory_order_relaxed);
    while (cell < cells_.size() &&
           !nextCell_.compare_exchange_weak(cell, cell + 1, std::memory_order_relaxed)) {
    }
    OwnCell::Set(cell < cells_.size() ? cell : kShared);
  }

  static constexpr std::uintptr_t kShared = 1;
  // The first is nobody's: 0 is a thread that has not counted yet.
  std::array<Cell, 34> cells_{};
  std::atomic<std::uintptr_t> nextCell_{kShared + 1};
};

inline constinit ModuleCount moduleCount;

inline void LockModule() noexcept { moduleCount.Add(); }
inline void UnlockModule() noexcept { moduleCount.Drop(); }

}  // namespace platform
