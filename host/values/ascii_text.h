// SPDX-License-Identifier: MIT
// A short text of ASCII characters on the stack, for numbers and dates on their way to a BSTR.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

#include "host/values/strings.h"

namespace host {

class AsciiText {
 public:
  // Room for every number and date; what would not fit is dropped.
  static constexpr std::size_t kRoom = 64;

  void Append(char c) noexcept {
    if (size_ < kRoom) units_[size_++] = static_cast<OLECHAR>(c);
  }
  void Append(std::string_view text) noexcept {
    for (char c : text) Append(c);
  }
  std::basic_string_view<OLECHAR> View() const noexcept { return {units_.data(), size_}; }
  // Null when memory cannot be had.
  BSTR ToString() const noexcept {
    return SysAllocStringLen(units_.data(), static_cast<UINT>(size_));
  }

 private:
  std::array<OLECHAR, kRoom> units_;
  std::size_t size_ = 0;
};

}  // namespace host
