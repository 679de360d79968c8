// SPDX-License-Identifier: MIT
// Numbers from text and to text, by the rules of English (United States) whatever the environment's
// locale says: "." is the decimal sign, "," groups digits, "$" is the currency.
#pragma once

#include <array>
#include <string_view>

#include "host/values/ascii_text.h"
#include "host/values/exact_numbers.h"

namespace host {

// A number read from text, without loss: digits times a power of ten, or a bit pattern.
class NumberText {
 public:
  // White space at both ends; in front and behind, in any order, one sign, one "$" and one pair of
  // brackets (which negate); digits with a point and, after the first digit, commas anywhere; "e"
  // or "E" with an exponent; or "&H" or "&O" with hexadecimal or octal digits, which a sign does
  // not change. DISP_E_TYPEMISMATCH for everything else, DISP_E_OVERFLOW for a pattern above 64
  // bits.
  HRESULT Parse(std::basic_string_view<OLECHAR> text) noexcept;

  bool IsPattern() const noexcept { return isPattern_; }
  std::uint64_t Pattern() const noexcept { return pattern_; }

  // The value for targets with a fixed number of digits.
  ExactNumber Exact() const noexcept;

  // The nearest float or double; too small a value is a zero with its sign. DISP_E_OVERFLOW.
  template <class Real>
  HRESULT ToReal(Real* value) const noexcept;

 private:
  // No double lies so close to the middle of two others that digits beyond these tell, except by
  // not being all zero.
  static constexpr int kMaxDigits = 800;

  class Reader;

  void AddDigit(char digit, bool behindPoint) noexcept;
  void Finish() noexcept;

  std::array<char, kMaxDigits + 1> digits_;
  int count_ = 0;
  std::int64_t exponent_ = 0;  // the power of ten of the last digit
  bool moreDigits_ = false;
  bool negative_ = false;
  bool isPattern_ = false;
  std::uint64_t pattern_ = 0;
};

// The nearest float or double of a number; no target overflows.
template <class Real>
Real RealOfExact(const ExactNumber& number) noexcept;

// The general form with `significantDigits` (15 or 7) digits, "1.5E-05" style exponents, no zeros
// at the end; "1.#INF", "-1.#INF", "1.#QNAN", "-1.#IND" for what is not a number.
void AppendReal(double value, int significantDigits, AsciiText* text) noexcept;

// All digits without exponent and without zeros at the end of the fraction; zero has no sign.
void AppendExact(const ExactNumber& number, AsciiText* text) noexcept;

}  // namespace host
