// SPDX-License-Identifier: MIT
// Whole numbers in text, in UTF-8 and UTF-16 alike.
#pragma once

#include <limits>
#include <string_view>

namespace host {

// The value of a digit of a base up to 16 in either case, or the base for any other character.
template <class Char>
constexpr unsigned DigitValue(Char character, unsigned base) noexcept {
  unsigned value = base;
  if (character >= '0' && character <= '9') value = static_cast<unsigned>(character - '0');
  if (character >= 'A' && character <= 'F') value = static_cast<unsigned>(character - 'A') + 10;
  if (character >= 'a' && character <= 'f') value = static_cast<unsigned>(character - 'a') + 10;
  return value < base ? value : base;
}

// Reads a text that is nothing but digits of a number below 2^32; false for any other.
template <class Number, class Char>
constexpr bool ReadNumber(std::basic_string_view<Char> text, unsigned base,
                          Number& number) noexcept {
  unsigned long long value = 0;
  for (const Char character : text) {
    const unsigned digit = DigitValue(character, base);
    if (digit == base) return false;
    value = value * base + digit;
    if (value > std::numeric_limits<Number>::max()) return false;
  }
  number = static_cast<Number>(value);
  return !text.empty();
}

}  // namespace host
