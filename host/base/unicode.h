// SPDX-License-Identifier: MIT
// Characters in UTF-8 and UTF-16, one at a time, and the case folding of the host's names.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

#include "host/base/scalars.h"

namespace host {

inline constexpr char32_t kReplacementCharacter = 0xFFFD;
// What the Take functions give for a part that is no character.
inline constexpr char32_t kIllFormed = 0xFFFFFFFF;

// Takes the character at the front off; at < end. An ill-formed sequence is taken off as far as it
// could have been the beginning of a character, at least one byte.
inline char32_t TakeUtf8(const char*& at, const char* end) noexcept {
  const auto lead = static_cast<BYTE>(*at++);
  if (lead < 0x80) return lead;
  int following = 0;
  BYTE lowest = 0x80;
  BYTE highest = 0xBF;
  if (lead >= 0xC2 && lead <= 0xDF) {
    following = 1;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    following = 2;
    if (lead == 0xE0) lowest = 0xA0;
    if (lead == 0xED) highest = 0x9F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    following = 3;
    if (lead == 0xF0) lowest = 0x90;
    if (lead == 0xF4) highest = 0x8F;
  } else {
    return kIllFormed;
  }
  char32_t character = lead & (0x3Fu >> following);
  for (; following > 0; --following) {
    if (at == end) return kIllFormed;
    const auto next = static_cast<BYTE>(*at);
    if (next < lowest || next > highest) return kIllFormed;
    ++at;
    character = (character << 6) | (next & 0x3Fu);
    lowest = 0x80;
    highest = 0xBF;
  }
  return character;
}

// Takes the character at the front off; at < end. A lone surrogate is ill-formed.
inline char32_t TakeUtf16(const OLECHAR*& at, const OLECHAR* end) noexcept {
  const char32_t first = *at++;
  if (first < 0xD800 || first > 0xDFFF) return first;
  if (first > 0xDBFF || at == end || *at < 0xDC00 || *at > 0xDFFF) return kIllFormed;
  return 0x10000 + ((first - 0xD800) << 10) + (*at++ - 0xDC00u);
}

// Writes a character and gives the bytes it took, 1 to 4.
inline int PutUtf8(char32_t character, char (&bytes)[4]) noexcept {
  const auto tail = [character](int shift) {
    return static_cast<char>(0x80 | ((character >> shift) & 0x3F));
  };
  if (character < 0x80) {
    bytes[0] = static_cast<char>(character);
    return 1;
  }
  if (character < 0x800) {
    bytes[0] = static_cast<char>(0xC0 | (character >> 6));
    bytes[1] = tail(0);
    return 2;
  }
  if (character < 0x10000) {
    bytes[0] = static_cast<char>(0xE0 | (character >> 12));
    bytes[1] = tail(6);
    bytes[2] = tail(0);
    return 3;
  }
  bytes[0] = static_cast<char>(0xF0 | (character >> 18));
  bytes[1] = tail(12);
  bytes[2] = tail(6);
  bytes[3] = tail(0);
  return 4;
}

// Writes a character and gives the units it took, 1 or 2.
inline int PutUtf16(char32_t character, OLECHAR (&units)[2]) noexcept {
  if (character < 0x10000) {
    units[0] = static_cast<OLECHAR>(character);
    return 1;
  }
  units[0] = static_cast<OLECHAR>(0xD800 + ((character - 0x10000) >> 10));
  units[1] = static_cast<OLECHAR>(0xDC00 + ((character - 0x10000) & 0x3FF));
  return 2;
}

// Whole texts; what is ill-formed becomes U+FFFD.
inline std::string ToUtf8(std::basic_string_view<OLECHAR> text) {
  std::string narrow;
  const OLECHAR* at = text.data();
  const OLECHAR* const end = at + text.size();
  while (at != end) {
    const char32_t character = TakeUtf16(at, end);
    char bytes[4];
    const int count = PutUtf8(character != kIllFormed ? character : kReplacementCharacter, bytes);
    narrow.append(bytes, static_cast<std::size_t>(count));
  }
  return narrow;
}
inline std::basic_string<OLECHAR> ToUtf16(std::string_view text) {
  std::basic_string<OLECHAR> wide;
  const char* at = text.data();
  const char* const end = at + text.size();
  while (at != end) {
    const char32_t character = TakeUtf8(at, end);
    OLECHAR units[2];
    const int count = PutUtf16(character != kIllFormed ? character : kReplacementCharacter, units);
    wide.append(units, static_cast<std::size_t>(count));
  }
  return wide;
}

// The upper-case unit of a letter: Latin, Greek and Cyrillic, unit by unit and independent of any
// locale. All else is itself.
constexpr OLECHAR FoldCase(OLECHAR unit) noexcept {
  const auto minus = [unit](int distance) { return static_cast<OLECHAR>(unit - distance); };
  if (unit < 0x80) return unit >= 'a' && unit <= 'z' ? minus(0x20) : unit;
  if (unit >= 0xE0 && unit <= 0xFE) return unit == 0xF7 ? unit : minus(0x20);
  if (unit == 0xFF) return 0x178;
  // Pairs whose upper-case letter is even, and those whose upper-case letter is odd.
  if ((unit >= 0x100 && unit <= 0x137 && unit != 0x131) || (unit >= 0x14A && unit <= 0x177)) {
    return static_cast<OLECHAR>(unit & ~1);
  }
  if ((unit >= 0x139 && unit <= 0x148) || (unit >= 0x179 && unit <= 0x17E)) {
    return (unit & 1) == 0 ? minus(1) : unit;
  }
  if (unit >= 0x3B1 && unit <= 0x3CB && unit != 0x3C2) return minus(0x20);
  if (unit >= 0x430 && unit <= 0x44F) return minus(0x20);
  if (unit >= 0x450 && unit <= 0x45F) return minus(0x50);
  return unit;
}

// Whether texts differ in case alone.
constexpr bool SameFolded(std::basic_string_view<OLECHAR> a,
                          std::basic_string_view<OLECHAR> b) noexcept {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](OLECHAR one, OLECHAR other) { return FoldCase(one) == FoldCase(other); });
}

}  // namespace host
