// SPDX-License-Identifier: MIT
// The numeric element types of pictures and vectors: their limits and how they convert to and from
// double, the common language of the generic interfaces.
#pragma once

#include <cstdint>
#include <limits>
#include <type_traits>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace rastel {

// Values outside the limits of T become the limit; limits are inclusive. NaN stays NaN.
template <class T>
constexpr double ClampToElement(double value) noexcept {
  constexpr auto kLow = static_cast<double>(std::numeric_limits<T>::lowest());
  constexpr auto kHigh = static_cast<double>(std::numeric_limits<T>::max());
  if (0.0 > value) return kLow > value ? kLow : value;
  return kHigh < value ? kHigh : value;
}

// Without the fraction; the lowest number for NaN and for what 64 bits do not hold.
constexpr std::int64_t WholeOf(double value) noexcept {
#ifdef __SSE2__
  if (!std::is_constant_evaluated()) return _mm_cvttsd_si64(_mm_set_sd(value));
#endif
  constexpr double kEnd = 9223372036854775808.0;
  return value >= -kEnd && value < kEnd ? static_cast<std::int64_t>(value)
                                        : std::numeric_limits<std::int64_t>::lowest();
}

// Clamped, and truncated toward zero for integers. NaN becomes the lowest 32-bit value in signed
// 32 bits and 0 in the other integers, whose width cuts the indefinite value's low bits off.
template <class T>
constexpr T ElementFromDouble(double value) noexcept {
  if constexpr (std::is_integral_v<T>) {
    // What fits, as nearly all values do.
    const std::int64_t whole = WholeOf(value);
    if (whole >= std::numeric_limits<T>::lowest() && whole <= std::numeric_limits<T>::max()) {
      return static_cast<T>(whole);
    }
  }
  const double clamped = ClampToElement<T>(value);
  if constexpr (std::is_integral_v<T>) {
    if (clamped != clamped) {
      return std::is_same_v<T, std::int32_t> ? std::numeric_limits<T>::lowest() : T{0};
    }
    return static_cast<T>(static_cast<std::int64_t>(clamped));
  } else {
    return static_cast<T>(clamped);
  }
}

template <class T>
constexpr double DoubleFromElement(T element) noexcept {
  return static_cast<double>(element);
}

}  // namespace rastel
