// SPDX-License-Identifier: MIT
#include "module/image/plane_mask.h"

#include <stdexcept>

namespace rastel {

void PlaneMask::Clear() noexcept {
  planes_ = 0;
  words_.clear();
}

void PlaneMask::SelectAll(LONG planes) {
  Clear();
  if (planes < 0) throw std::length_error("vector too long");
  planes_ = planes;
}

bool PlaneMask::IsSelected(LONG plane) const noexcept {
  if (words_.empty()) return true;
  const auto word = static_cast<std::size_t>(plane / kBitsPerWord);
  return (words_[word] >> (plane % kBitsPerWord) & 1u) != 0;
}

void PlaneMask::Select(LONG plane, bool selected) {
  if (words_.empty()) {
    if (selected) return;
    words_.assign(static_cast<std::size_t>(planes_ / kBitsPerWord) + 1, 0xFFFFFFFFu);
  }
  std::uint32_t& word = words_[static_cast<std::size_t>(plane / kBitsPerWord)];
  const std::uint32_t bit = 1u << (plane % kBitsPerWord);
  word = selected ? word | bit : word & ~bit;
}

}  // namespace rastel
