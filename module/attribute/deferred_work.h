// SPDX-License-Identifier: MIT
// Work that is put off until somebody needs it, and is then done by the first who comes, on any
// thread; others who come meanwhile wait for him. It is short, and calls nobody who could come
// back.
#pragma once

#include <atomic>
#include <thread>
#include <utility>

namespace rastel {

class DeferredWork {
 public:
  explicit DeferredWork(bool isDone) noexcept : state_(isDone ? State::kDone : State::kDue) {}

  bool IsDone() const noexcept { return state_.load(std::memory_order_acquire) == State::kDone; }
  // For who has what the work is about to himself.
  void SetDone(bool isDone) noexcept {
    state_.store(isDone ? State::kDone : State::kDue, std::memory_order_relaxed);
  }

  template <class Work>
  void Need(Work&& work) noexcept {
    if (!IsDone()) DoOrWait(std::forward<Work>(work));
  }

 private:
  enum class State { kDone, kDue, kBeingDone };

  // Out of line, so that those who find it done stay small.
  template <class Work>
  [[gnu::noinline]] void DoOrWait(Work&& work) noexcept {
    State due = State::kDue;
    if (state_.compare_exchange_strong(due, State::kBeingDone, std::memory_order_acquire)) {
      work();
      state_.store(State::kDone, std::memory_order_release);
    }
    while (!IsDone()) std::this_thread::yield();
  }

  std::atomic<State> state_;
};

}  // namespace rastel
