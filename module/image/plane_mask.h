// SPDX-License-Identifier: MIT
// Which planes of an AOI are selected: one bit a plane. A mask in which every bit is set takes no
// memory, however many planes there are; the words are made when a plane is first deselected.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/platform.h"

namespace rastel {

class PlaneMask {
 public:
  // No planes.
  void Clear() noexcept;
  // `planes` bits, all set. A negative count raises std::length_error "vector too long".
  void SelectAll(LONG planes);

  // The plane must be in 0 .. planes - 1. Deselecting may raise std::bad_alloc.
  bool IsSelected(LONG plane) const noexcept;
  bool AreAllSelected() const noexcept { return words_.empty(); }
  void Select(LONG plane, bool selected);

 private:
  static constexpr LONG kBitsPerWord = 32;

  LONG planes_ = 0;
  std::vector<std::uint32_t> words_;  // empty while every bit is set
};

}  // namespace rastel
