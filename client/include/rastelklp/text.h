// SPDX-License-Identifier: MIT
// Texts that cross interfaces: UTF-16 inside, UTF-8 or UTF-16 to the program.
#pragma once

#include <algorithm>
#include <climits>
#include <concepts>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "platform/platform.h"

namespace rastelklp {

namespace detail {

// The platform's own units, which are char16_t or wchar_t.
using UnitView = std::basic_string_view<OLECHAR>;
template <class From>
using Utf16View =
    std::conditional_t<std::convertible_to<const From&, UnitView>, UnitView, std::u16string_view>;
template <class From>
concept Utf16 = std::convertible_to<const From&, Utf16View<From>>;

}  // namespace detail

// Owns a BSTR. A null text and an empty one are equal, and stay what they are.
class Text {
 public:
  Text() noexcept = default;
  // From UTF-8; bytes that are none become U+FFFD.
  template <std::convertible_to<std::string_view> Utf8>
  Text(const Utf8& utf8) {
    const std::string_view from = utf8;
    if (from.size() > INT_MAX) throw std::length_error("text too long");
    const int bytes = static_cast<int>(from.size());
    const int units =
        bytes > 0 ? MultiByteToWideChar(CP_UTF8, 0, from.data(), bytes, nullptr, 0) : 0;
    text_ = Allocate(nullptr, static_cast<UINT>(units));
    if (units > 0) MultiByteToWideChar(CP_UTF8, 0, from.data(), bytes, text_, units);
  }
  template <detail::Utf16 From>
  Text(const From& utf16) {
    const detail::Utf16View<From> from = utf16;
    if (from.size() > INT_MAX) throw std::length_error("text too long");
    text_ = Allocate(nullptr, static_cast<UINT>(from.size()));
    std::copy(from.begin(), from.end(), text_);
  }
  Text(const Text& other)
      : text_(other.text_ ? Allocate(other.text_, SysStringLen(other.text_)) : nullptr) {}
  Text(Text&& other) noexcept : text_(std::exchange(other.text_, nullptr)) {}
  ~Text() { SysFreeString(text_); }
  Text& operator=(Text other) noexcept {
    std::swap(text_, other.text_);
    return *this;
  }

  // Halves of surrogate pairs become U+FFFD.
  std::string utf8() const {
    const int units = static_cast<int>(SysStringLen(text_));
    if (units == 0) return {};
    const int bytes = WideCharToMultiByte(CP_UTF8, 0, text_, units, nullptr, 0, nullptr, nullptr);
    std::string utf8(static_cast<std::size_t>(bytes), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text_, units, utf8.data(), bytes, nullptr, nullptr);
    return utf8;
  }
  operator std::string() const { return utf8(); }
  std::u16string utf16() const { return {text_, text_ + SysStringLen(text_)}; }
  bool empty() const noexcept { return SysStringLen(text_) == 0; }

  BSTR get() const noexcept { return text_; }
  // For a slot that hands out a text.
  BSTR* put() noexcept {
    SysFreeString(std::exchange(text_, nullptr));
    return &text_;
  }
  // Take over the caller's text, and give ours to the caller.
  void attach(BSTR text) noexcept { SysFreeString(std::exchange(text_, text)); }
  [[nodiscard]] BSTR detach() noexcept { return std::exchange(text_, nullptr); }

  friend bool operator==(const Text& a, const Text& b) noexcept {
    return std::equal(a.text_, a.text_ + SysStringLen(a.text_), b.text_,
                      b.text_ + SysStringLen(b.text_));
  }

 private:
  static BSTR Allocate(const OLECHAR* text, UINT units) {
    const BSTR made = SysAllocStringLen(text, units);
    if (!made) throw std::bad_alloc();
    return made;
  }

  BSTR text_ = nullptr;
};

}  // namespace rastelklp
