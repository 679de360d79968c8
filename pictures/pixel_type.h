// SPDX-License-Identifier: MIT
// The sample types of pictures: those that pixels of AOIs have, with the same numbers.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <type_traits>

namespace pictures {

enum class PixelType { kByte, kChar, kWord, kShort, kDWord, kLong, kFloat, kDouble };

struct PixelTypeRow {
  PixelType type;
  const char* name;
  std::size_t bytes;
};
inline constexpr std::array<PixelTypeRow, 8> kPixelTypes = {{
    {PixelType::kByte, "byte", 1},
    {PixelType::kChar, "char", 1},
    {PixelType::kWord, "word", 2},
    {PixelType::kShort, "short", 2},
    {PixelType::kDWord, "dword", 4},
    {PixelType::kLong, "long", 4},
    {PixelType::kFloat, "float", 4},
    {PixelType::kDouble, "double", 8},
}};

constexpr const PixelTypeRow& RowOf(PixelType type) {
  return kPixelTypes[static_cast<std::size_t>(type)];
}
constexpr std::size_t BytesOf(PixelType type) { return RowOf(type).bytes; }
constexpr std::optional<PixelType> FindPixelType(std::string_view name) {
  for (const PixelTypeRow& row : kPixelTypes) {
    if (name == row.name) return row.type;
  }
  return std::nullopt;
}

template <class T>
inline constexpr PixelType kPixelTypeOf = std::is_same_v<T, double> ? PixelType::kDouble
                                          : std::is_same_v<T, float>
                                              ? PixelType::kFloat
                                              : static_cast<PixelType>((sizeof(T) == 1   ? 0
                                                                        : sizeof(T) == 2 ? 2
                                                                                         : 4) +
                                                                       (std::is_signed_v<T> ? 1
                                                                                            : 0));

// Calls visitor with a sample of the type, whose value is nothing.
template <class Visitor>
decltype(auto) VisitPixelType(PixelType type, Visitor&& visitor) {
  switch (type) {
    case PixelType::kByte:
      return visitor(std::uint8_t{});
    case PixelType::kChar:
      return visitor(std::int8_t{});
    case PixelType::kWord:
      return visitor(std::uint16_t{});
    case PixelType::kShort:
      return visitor(std::int16_t{});
    case PixelType::kDWord:
      return visitor(std::uint32_t{});
    case PixelType::kLong:
      return visitor(std::int32_t{});
    case PixelType::kFloat:
      return visitor(float{});
    case PixelType::kDouble:
      break;
  }
  return visitor(double{});
}

}  // namespace pictures
