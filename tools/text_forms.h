// SPDX-License-Identifier: MIT
// How bytes of a stream are written in a listing: always printable, texts as UTF-8.
#pragma once

#include <charconv>
#include <concepts>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>

namespace tools {

using Bytes = std::span<const std::uint8_t>;

// A little-endian number at an address of any alignment.
template <class T>
T NumberAt(const std::uint8_t* address) {
  T number;
  std::memcpy(&number, address, sizeof(T));
  return number;
}

// Decimal; a real number in the fewest digits that give it back.
template <class T>
requires std::integral<T> || std::floating_point<T> std::string NumberText(T number) {
  char digits[32];
  return std::string(digits, std::to_chars(digits, digits + sizeof(digits), number).ptr);
}

template <class T>
std::string NumberTextAt(const std::uint8_t* address) {
  return NumberText(NumberAt<T>(address));
}

// "0x0103": upper-case digits, at least so many.
std::string HexText(std::uint64_t number, unsigned digits);

// "A1 A2 A3".
std::string HexBytes(Bytes bytes);

// A size in bytes, with the same in a larger unit behind a large one: "2199000 bytes (2.2 MB)".
std::string SizeText(std::uint64_t bytes);

// A count and its noun: "1 byte", "0 bytes".
std::string CountText(std::uint64_t count, const char* noun);

// UTF-16 text in quotes. Quotes, backslashes, control characters and lone surrogates appear as
// escapes. A longer text than mostUnits ends in dots behind the quotes and tells its length.
std::string QuotedText(Bytes utf16, std::size_t mostUnits);

// UTF-16 text as UTF-8, as it is. A lone surrogate becomes what is no UTF-8.
std::string PlainText(Bytes utf16);

// A number of ten thousandths.
std::string CurrencyText(std::int64_t tenThousandths);

// Days since 30 December 1899, and the date and time of it where there is one.
std::string DateText(double days);

}  // namespace tools
