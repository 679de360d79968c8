// SPDX-License-Identifier: MIT
#include "examples/attributes.h"

#include "examples/report.h"

namespace examples {
namespace {

using rastelklp::Map;
using rastelklp::Value;
using rastelklp::Vector;

Map PlaneNames(int planes) {
  static constexpr const char* kNames[][4] = {
      {"grey"}, {"grey", "alpha"}, {"red", "green", "blue"}, {"red", "green", "blue", "alpha"}};
  Map map(KeyKindLong);
  for (int plane = 0; plane < planes; ++plane) map[plane] = kNames[planes - 1][plane];
  return map;
}

Vector<double> Histogram(const std::vector<double>& counts) {
  Vector<double> vector(counts);
  const int bins = static_cast<int>(counts.size());
  for (int bin = 0; bin < bins; ++bin) {
    vector.tag(bin, std::to_string(bin) + "/" + std::to_string(bins));
  }
  return vector;
}

std::string ShortForm(double number) {
  char text[32];
  std::snprintf(text, sizeof text, "%g", number);
  return text;
}

// Of a vector of any type.
std::string Elements(const rastelklp::com_ptr<IVectorKLP>& vector) {
  LONG count = 0;
  rastelklp::check_hresult(vector->get_Count(&count));
  std::string words = std::to_string(count) + " elements:";
  for (LONG i = 0; i < count; ++i) {
    double value = 0;
    rastelklp::check_hresult(vector->get_Value(i, &value));
    words.append(" ").append(ShortForm(value));
    rastelklp::Variant tag;
    if (SUCCEEDED(vector->get_ElementTag(i, tag.put())) && tag.get().vt != VT_EMPTY) {
      words.append(" (").append(InWords(Value(tag))).append(")");
    }
  }
  return words;
}

struct Words {
  std::string operator()(std::monostate) const { return "nothing"; }
  std::string operator()(bool truth) const { return truth ? "true" : "false"; }
  std::string operator()(std::int32_t number) const { return std::to_string(number); }
  std::string operator()(std::int64_t number) const { return std::to_string(number); }
  std::string operator()(double number) const { return ShortForm(number); }
  std::string operator()(const rastelklp::Text& text) const { return text; }
  std::string operator()(const rastelklp::Object& object) const {
    if (const auto vector = object.try_as<IVectorKLP>()) return Elements(vector);
    if (const auto map = object.try_as<Map>())
      return std::string("a map of ") + std::to_string(map.size());
    return "an object";
  }
  std::string operator()(const rastelklp::Variant& other) const {
    return std::string("a value of type ") + std::to_string(other.get().vt);
  }
};

}  // namespace

Map MakeAttributes(const std::string& fileName, int planes, const std::vector<double>& histogram) {
  return Map{{"source", fileName},
             {"planes", PlaneNames(planes)},
             {"calibration", Map{{0.0, 0.0}, {1.0, "white"}}},
             {"histogram", Histogram(histogram)}};
}

std::string InWords(const Value& value) { return std::visit(Words(), value); }

void SayAttributes(const Map& map, const std::string& indent) {
  for (const auto& [key, value] : map.entries()) {
    Say("  attribute", "%s%s: %s", indent.c_str(), InWords(key).c_str(), InWords(value).c_str());
    const auto* object = std::get_if<rastelklp::Object>(&value);
    if (const auto inner = object ? object->try_as<Map>() : Map(nullptr)) {
      SayAttributes(inner, indent + "  ");
    }
  }
}

}  // namespace examples
