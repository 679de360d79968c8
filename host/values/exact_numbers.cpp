// SPDX-License-Identifier: MIT
#include "host/values/exact_numbers.h"

#include <algorithm>

namespace host {
namespace {

constexpr int kMaxPower = 38;  // the highest power of ten below 2^128
constexpr UInt128 kMaxDecimalDigits = (UInt128{1} << 96) - 1;

UInt128 PowerOfTen(int exponent) noexcept {
  UInt128 power = 1;
  for (; exponent > 0; --exponent) power *= 10;
  return power;
}

}  // namespace

HRESULT ExactOfDecimal(const DECIMAL& value, ExactNumber* number) noexcept {
  if (value.scale > kMaxDecimalScale || (value.sign != 0 && value.sign != DECIMAL_NEG)) {
    return E_INVALIDARG;
  }
  *number = ExactNumber{};
  number->digits = UInt128{value.Hi32} << 64 | value.Lo64;
  number->scale = value.scale;
  number->negative = value.sign != 0;
  return S_OK;
}

bool RoundToScale(const ExactNumber& number, int scale, UInt128* magnitude) noexcept {
  const std::int64_t shift = number.scale - scale;
  if (number.digits == 0 || shift > kMaxPower) {
    // Less than 2^128 / 10^39, which is below one half.
    *magnitude = 0;
    return true;
  }
  if (shift <= 0) {
    if (-shift > kMaxPower) return false;
    return !__builtin_mul_overflow(number.digits, PowerOfTen(static_cast<int>(-shift)), magnitude);
  }
  const UInt128 divisor = PowerOfTen(static_cast<int>(shift));
  const UInt128 half = divisor / 2;
  const UInt128 rest = number.digits % divisor;
  *magnitude = number.digits / divisor;
  const bool tie = rest == half && !number.inexact;
  if (tie ? (*magnitude & 1) != 0 : rest >= half) ++*magnitude;
  return true;
}

bool RoundReal(double value, unsigned factor, UInt128* magnitude) noexcept {
  if (!(std::fabs(value) < 0x1p96)) return false;
  int exponent;
  const double fraction = std::frexp(std::fabs(value), &exponent);
  const UInt128 product = UInt128{static_cast<std::uint64_t>(std::ldexp(fraction, 53))} * factor;
  const int shift = 53 - exponent;
  if (shift <= 0) {
    if (product >> (96 + shift) != 0) return false;
    *magnitude = product << -shift;
    return true;
  }
  *magnitude = 0;
  // The product has at most 69 bits.
  if (shift > 70) return true;
  const UInt128 half = UInt128{1} << (shift - 1);
  const UInt128 rest = product & (half * 2 - 1);
  *magnitude = product >> shift;
  if (rest == half ? (*magnitude & 1) != 0 : rest > half) ++*magnitude;
  return true;
}

HRESULT ToDecimal(const ExactNumber& number, bool keepScale, DECIMAL* value) noexcept {
  UInt128 digits = 0;
  int scale = static_cast<int>(std::clamp<std::int64_t>(number.scale, 0, kMaxDecimalScale));
  while (!RoundToScale(number, scale, &digits) || digits > kMaxDecimalDigits) {
    if (scale == 0) return DISP_E_OVERFLOW;
    --scale;
  }
  while (!keepScale && scale > 0 && digits % 10 == 0) {
    digits /= 10;
    --scale;
  }
  value->wReserved = 0;
  value->scale = static_cast<BYTE>(scale);
  value->sign = number.negative && digits != 0 ? DECIMAL_NEG : BYTE{0};
  value->Hi32 = static_cast<ULONG>(digits >> 64);
  value->Lo64 = static_cast<ULONGLONG>(digits);
  return S_OK;
}

}  // namespace host
