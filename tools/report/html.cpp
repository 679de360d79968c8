// SPDX-License-Identifier: MIT
#include "tools/report/html.h"

#include <cstdio>

namespace tools::report {
namespace {

std::string Printed(const char* form, double number) {
  char text[48];
  std::snprintf(text, sizeof(text), form, number);
  return text;
}

}  // namespace

std::string Escaped(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

std::string Element(const char* tag, const char* styleClass, const std::string& inside) {
  return std::string("<") + tag + " class=\"" + styleClass + "\">" + inside + "</" + tag + ">";
}

std::string Base64(std::string_view bytes) {
  constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::size_t there = bytes.size() - i;
    std::uint32_t group = 0;
    for (std::size_t k = 0; k < 3; ++k) {
      group = group << 8 | (k < there ? static_cast<std::uint8_t>(bytes[i + k]) : 0);
    }
    for (std::size_t k = 0; k < 4; ++k) {
      text += k <= there ? kDigits[group >> (18 - 6 * k) & 0x3F] : '=';
    }
  }
  return text;
}

std::string Coordinate(double value) { return Printed("%.5g", value); }
std::string ShortText(double number) { return Printed("%.6g", number); }
std::string OffsetText(std::uint64_t offset) { return HexText(offset, 8).substr(2); }

}  // namespace tools::report
