// SPDX-License-Identifier: MIT
// The state that every module has one of: the count that keeps it loaded.
// Inline variables with hidden visibility are one per module, not one per process.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/platform.h"
#include "platform/thread_cells.h"

namespace platform {

// Live objects and server locks. Every object counts here twice in its life, so the first threads
// have cells of their own; all other threads share one. What begins and what ends is counted apart:
// who sees an end has seen its beginning as well, and so a sum that is taken while others count is
// never 0 while something lives.
class ModuleCount {
 public:
  void Add() noexcept { Count<&Cell::begun>(); }
  void Drop() noexcept { Count<&Cell::ended>(); }

  // 0 means that the module may be unloaded.
  std::int64_t Sum() const noexcept {
    std::uint64_t ended = shared_.ended.load(std::memory_order_acquire);
    for (const Cell& cell : own_.All()) ended += cell.ended.load(std::memory_order_acquire);
    std::uint64_t begun = shared_.begun.load(std::memory_order_acquire);
    for (const Cell& cell : own_.All()) begun += cell.begun.load(std::memory_order_acquire);
    return static_cast<std::int64_t>(begun - ended);
  }

 private:
  struct alignas(64) Cell {
    std::atomic<std::uint64_t> begun{0};
    std::atomic<std::uint64_t> ended{0};
  };

  template <std::atomic<std::uint64_t> Cell::*counter>
  void Count() noexcept {
    if (Cell* const own = own_.Own()) {
      const std::uint64_t count = (own->*counter).load(std::memory_order_relaxed);
      (own->*counter).store(count + 1, std::memory_order_release);
    } else {
      (shared_.*counter).fetch_add(1, std::memory_order_acq_rel);
    }
  }

  Cell shared_;
  ThreadCells<Cell> own_;
};

inline constinit ModuleCount moduleCount;

inline void LockModule() noexcept { moduleCount.Add(); }
inline void UnlockModule() noexcept { moduleCount.Drop(); }

}  // namespace platform
