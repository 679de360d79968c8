// SPDX-License-Identifier: MIT
#include "tools/text_forms.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>

namespace tools {
namespace {

constexpr bool IsHighSurrogate(char32_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
constexpr bool IsLowSurrogate(char32_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

void AppendUtf8(std::string& text, char32_t point) {
  const auto append = [&](char32_t lead, int shift) {
    text += static_cast<char>(lead | (point >> shift));
    while (shift > 0) {
      shift -= 6;
      text += static_cast<char>(0x80 | ((point >> shift) & 0x3F));
    }
  };
  if (point < 0x80) {
    append(0, 0);
  } else if (point < 0x800) {
    append(0xC0, 6);
  } else if (point < 0x10000) {
    append(0xE0, 12);
  } else {
    append(0xF0, 18);
  }
}

// The character whose first unit is i, which goes on behind it.
char32_t PointAt(Bytes utf16, std::size_t& i) {
  const auto unit = [&] { return char32_t{NumberAt<std::uint16_t>(utf16.data() + 2 * i)}; };
  const char32_t point = unit();
  ++i;
  if (!IsHighSurrogate(point) || i == utf16.size() / 2 || !IsLowSurrogate(unit())) return point;
  const char32_t low = unit();
  ++i;
  return 0x10000 + ((point - 0xD800) << 10) + (low - 0xDC00);
}

// Characters that a terminal acts on or that change the direction of what follows.
constexpr bool IsUnprintable(char32_t point) {
  return point < 0x20 || (point >= 0x7F && point < 0xA0) || (point >= 0xD800 && point < 0xE000) ||
         (point >= 0x200B && point <= 0x200F) || (point >= 0x2028 && point <= 0x202E) ||
         (point >= 0x2066 && point <= 0x2069) || point >= 0xFFFE;
}

void AppendEscaped(std::string& text, char32_t point) {
  if (point == '"' || point == '\\') {
    text += '\\';
    text += static_cast<char>(point);
  } else if (point == '\n' || point == '\r' || point == '\t') {
    text += point == '\n' ? "\\n" : point == '\r' ? "\\r" : "\\t";
  } else if (IsUnprintable(point) && point < 0x10000) {
    text += "\\u";
    text += HexText(point, 4).substr(2);
  } else {
    AppendUtf8(text, point);
  }
}

}  // namespace

std::string HexText(std::uint64_t number, unsigned digits) {
  char text[32];
  std::snprintf(text, sizeof(text), "0x%0*llX", static_cast<int>(digits),
                static_cast<unsigned long long>(number));
  return text;
}

std::string HexBytes(Bytes bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    if (!text.empty()) text += ' ';
    text += HexText(byte, 2).substr(2);
  }
  return text;
}

std::string CountText(std::uint64_t count, const char* noun) {
  return NumberText(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string QuotedText(Bytes utf16, std::size_t mostUnits) {
  const std::size_t units = utf16.size() / 2;
  std::string text = "\"";
  std::size_t i = 0;
  while (i < units && i < mostUnits) AppendEscaped(text, PointAt(utf16, i));
  text += '"';
  if (i < units) text += "... " + CountText(units, "character");
  if (utf16.size() % 2 != 0) text += ", and the byte " + HexBytes(utf16.last(1));
  return text;
}

std::string PlainText(Bytes utf16) {
  std::string text;
  for (std::size_t i = 0; i < utf16.size() / 2;) AppendUtf8(text, PointAt(utf16, i));
  return text;
}

std::string SizeText(std::uint64_t bytes) {
  std::string text = CountText(bytes, "byte");
  if (bytes < 10000) return text;
  auto size = static_cast<double>(bytes) / 1000;
  const char* unit = "kMGTPE";
  for (; size >= 999.5; size /= 1000) ++unit;
  char larger[32];
  std::snprintf(larger, sizeof(larger), " (%.3g %cB)", size, *unit);
  return text + larger;
}

std::string CurrencyText(std::int64_t tenThousandths) {
  const bool isNegative = tenThousandths < 0;
  const std::uint64_t size = isNegative ? 0 - static_cast<std::uint64_t>(tenThousandths)
                                        : static_cast<std::uint64_t>(tenThousandths);
  std::string fraction = NumberText(size % 10000);
  fraction.insert(0, 4 - fraction.size(), '0');
  std::string text = isNegative ? "-" : "";
  return text.append(NumberText(size / 10000)).append(".").append(fraction);
}

std::string DateText(double days) {
  std::string text = NumberText(days);
  // 1 January 100 to 31 December 9999.
  if (!(days >= -657434 && days < 2958466)) return text;
  using std::chrono::year_month_day;
  constexpr std::chrono::sys_days kDayZero{std::chrono::December / 30 / 1899};
  double day = 0;
  // The day is the part before the point; the time counts forward also where days are negative.
  const double time = std::abs(std::modf(days, &day));
  // A time that rounds up to midnight stays within its day.
  const int seconds = std::min(86399, static_cast<int>(std::lround(time * 86400)));
  const year_month_day date(kDayZero + std::chrono::days(static_cast<int>(day)));
  char form[64];
  std::snprintf(form, sizeof(form), " (%04d-%02u-%02u %02d:%02d:%02d)",
                static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                static_cast<unsigned>(date.day()), seconds / 3600, seconds / 60 % 60, seconds % 60);
  return text + form;
}

}  // namespace tools
