// SPDX-License-Identifier: MIT
// Numbers as decimal digits and a scale, wide enough for every number type of a VARIANT but the
// real ones, and the rounding between them. All rounding is half to even and exact: what is rounded
// is the value itself, never an approximation of it.
#pragma once

#include <cmath>
#include <limits>
#include <type_traits>

#include "host/base/variant.h"

namespace host {

using UInt128 = unsigned __int128;

// digits / 10^scale. When `inexact` is set the value lies above that by less than one digit; there
// are then at least 38 digits, more than any target holds.
struct ExactNumber {
  UInt128 digits = 0;
  std::int64_t scale = 0;
  bool negative = false;
  bool inexact = false;
};

inline constexpr int kMaxDecimalScale = 28;

template <class Integer>
ExactNumber ExactOfInteger(Integer value) noexcept {
  ExactNumber number;
  number.negative = value < 0;
  number.digits = static_cast<std::uint64_t>(value);
  if (number.negative) number.digits = std::uint64_t{0} - static_cast<std::uint64_t>(value);
  return number;
}

// E_INVALIDARG for a scale above 28 or a sign other than 0 and DECIMAL_NEG.
HRESULT ExactOfDecimal(const DECIMAL& value, ExactNumber* number) noexcept;

// The magnitude times 10^scale, rounded to a whole number; false beyond 128 bits.
bool RoundToScale(const ExactNumber& number, int scale, UInt128* magnitude) noexcept;

// The magnitude of a real number times a factor below 2^16, rounded; false for NaN and beyond 2^96.
bool RoundReal(double value, unsigned factor, UInt128* magnitude) noexcept;

// With keepScale the digits stand as they are as long as they fit; otherwise zeros at the end of
// the fraction are dropped. More digits than fit are rounded. DISP_E_OVERFLOW.
HRESULT ToDecimal(const ExactNumber& number, bool keepScale, DECIMAL* value) noexcept;

// DISP_E_OVERFLOW outside the type's range.
template <class Integer>
HRESULT ToInteger(bool negative, UInt128 magnitude, Integer* value) noexcept {
  UInt128 limit = static_cast<UInt128>(std::numeric_limits<Integer>::max());
  if (negative) limit = std::is_signed_v<Integer> ? limit + 1 : 0;
  if (magnitude > limit) return DISP_E_OVERFLOW;
  const auto bits = static_cast<std::uint64_t>(magnitude);
  *value = static_cast<Integer>(negative ? std::uint64_t{0} - bits : bits);
  return S_OK;
}

}  // namespace host
