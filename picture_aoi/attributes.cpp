// SPDX-License-Identifier: MIT
#include <array>
#include <charconv>
#include <string_view>

#include "picture_aoi/picture_aoi.h"

namespace picture_aoi {
namespace {

using pictures::Block;
using pictures::Group;
using pictures::Resolution;
using rastelklp::Map;
using rastelklp::Text;
using rastelklp::Vector;
// Not pictures::Value.
using Attribute = rastelklp::Value;

Attribute AttributeOf(std::int32_t number) { return number; }
Attribute AttributeOf(double number) { return number; }
Attribute AttributeOf(const std::string& text) { return text; }
Attribute AttributeOf(const Block& block) {
  return rastelklp::Object(Vector<std::uint8_t>(std::span(block)));
}
Attribute AttributeOf(const std::vector<double>& numbers) {
  return rastelklp::Object(Vector<double>(std::span(numbers)));
}
Attribute AttributeOf(const Group& group) { return rastelklp::Object(MapOf(group)); }

Group GroupOf(const Map& map, int depth);

std::optional<pictures::Value> ValueOf(const Attribute& attribute, int depth) {
  if (const auto* number = std::get_if<std::int32_t>(&attribute)) return *number;
  if (const auto* number = std::get_if<bool>(&attribute)) return std::int32_t{*number};
  if (const auto* number = std::get_if<std::int64_t>(&attribute)) {
    return static_cast<double>(*number);
  }
  if (const auto* number = std::get_if<double>(&attribute)) return *number;
  if (const auto* text = std::get_if<Text>(&attribute)) return text->utf8();
  const auto* object = std::get_if<rastelklp::Object>(&attribute);
  // Maps may hold each other in a ring.
  constexpr int kDeepest = 16;
  if (!object || depth > kDeepest) return std::nullopt;
  if (const auto map = object->try_as<Map>()) return GroupOf(map, depth + 1);
  if (const auto bytes = object->try_as<Vector<std::uint8_t>>()) {
    return Block(bytes.begin(), bytes.end());
  }
  if (const auto numbers = object->try_as<Vector<double>>()) {
    return std::vector<double>(numbers.begin(), numbers.end());
  }
  return std::nullopt;
}

Group GroupOf(const Map& map, int depth) {
  Group group;
  if (!map) return group;
  for (const auto& [key, attribute] : map.entries()) {
    const auto* text = std::get_if<Text>(&key);
    if (!text) continue;
    if (auto value = ValueOf(attribute, depth)) {
      group.push_back({text->utf8(), std::move(*value)});
    }
  }
  return group;
}

constexpr std::array<std::string_view, 4> kUnits = {" as ratio", " per metre", " per inch",
                                                    " per centimetre"};

std::string NumberText(double number) {
  std::array<char, 32> digits;
  return {digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr};
}

}  // namespace

Map MapOf(const Group& group) {
  Map map(KeyKindBstr);
  for (const auto& [key, value] : group) {
    map.insert_or_assign(key,
                         std::visit([](const auto& held) { return AttributeOf(held); }, value));
  }
  return map;
}

Group GroupOf(const Map& map) { return GroupOf(map, 0); }

std::string TextOf(const Resolution& resolution) {
  if (!(resolution.x > 0 && resolution.y > 0)) return "";
  return NumberText(resolution.x) + " x " + NumberText(resolution.y) +
         std::string(kUnits[static_cast<std::size_t>(resolution.unit)]);
}

Resolution ResolutionOf(const std::string& text) {
  Resolution resolution;
  const char* const end = text.data() + text.size();
  const auto x = std::from_chars(text.data(), end, resolution.x);
  constexpr std::string_view kBy = " x ";
  if (x.ec != std::errc() || !std::string_view(x.ptr, end).starts_with(kBy)) return {};
  const auto y = std::from_chars(x.ptr + kBy.size(), end, resolution.y);
  for (std::size_t unit = 0; unit < kUnits.size(); ++unit) {
    if (y.ec != std::errc() || std::string_view(y.ptr, end) != kUnits[unit]) continue;
    resolution.unit = static_cast<Resolution::Unit>(unit);
    return resolution.x > 0 && resolution.y > 0 ? resolution : Resolution();
  }
  return {};
}

}  // namespace picture_aoi
