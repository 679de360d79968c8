// SPDX-License-Identifier: MIT
// Room for a text of unknown length: on the stack up to a fixed size, on the heap beyond.
#pragma once

#include <cstddef>
#include <cstdlib>

namespace rastel {

template <class Unit, std::size_t StackUnits>
class StackBuffer {
 public:
  explicit StackBuffer(std::size_t units) noexcept {
    if (units > StackUnits) {
      const bool wraps = units > static_cast<std::size_t>(-1) / sizeof(Unit);
      units_ = wraps ? nullptr : static_cast<Unit*>(std::malloc(units * sizeof(Unit)));
    }
  }
  ~StackBuffer() {
    if (units_ != stack_) std::free(units_);
  }
  StackBuffer(const StackBuffer&) = delete;
  StackBuffer& operator=(const StackBuffer&) = delete;

  // Null when the heap had no room.
  Unit* Get() noexcept { return units_; }

 private:
  Unit stack_[StackUnits];
  Unit* units_ = stack_;
};

}  // namespace rastel
