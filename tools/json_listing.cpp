// SPDX-License-Identifier: MIT
#include "tools/json_listing.h"

#include <algorithm>

#include "tools/json.h"

namespace tools {

Json JsonOf(const Number& number) {
  const bool isFinite = number.digits.find_first_not_of("+-.0123456789e") == std::string::npos;
  return isFinite ? Json::parse(number.digits) : Json(number.digits);
}

Json JsonOf(const Value& value) {
  if (std::holds_alternative<std::nullptr_t>(value.plain)) return nullptr;
  if (const auto* const isTrue = std::get_if<bool>(&value.plain)) return *isTrue;
  if (const auto* const number = std::get_if<Number>(&value.plain)) return JsonOf(*number);
  if (const auto* const text = std::get_if<std::string>(&value.plain)) return *text;
  if (const auto* const numbers = std::get_if<std::vector<Number>>(&value.plain)) {
    Json array = Json::array();
    for (const Number& number : *numbers) array.push_back(JsonOf(number));
    return array;
  }
  return value.text;
}

JsonListing::JsonListing(std::ostream& out, const Extent& extent) : Listing(extent), out_(out) {
  out_ << '[';
}

void JsonListing::CloseTo(std::size_t depth) {
  while (open_.size() > depth) {
    out_ << (open_.back() ? "]}" : "}");
    open_.pop_back();
  }
}

void JsonListing::Take(const Line& line) {
  CloseTo(line.depth);
  if (!open_.empty() && !open_.back()) {
    out_ << ",\"fields\":[";
    open_.back() = true;
  } else if (!isFirst_) {
    out_ << ',';
  }
  isFirst_ = false;
  Json field;
  if (line.offset) {
    field["offset"] = *line.offset;
    if (line.bytes) field["bytes"] = *line.bytes;
    field["name"] = line.name;
    if (!line.value.type.empty()) field["type"] = line.value.type;
    field["value"] = JsonOf(line.value);
  } else {
    field["remark"] = line.name;
  }
  const std::string text = JsonText(field);
  out_ << '\n' << std::string(open_.size() + 1, ' ') << text.substr(0, text.size() - 1);
  if (!out_) throw OutputFailure();
  open_.push_back(false);
}

void JsonListing::TakeEnd() {
  CloseTo(0);
  out_ << ",\n {\"remark\":\"more than " << extent().lines << " fields\"}";
}

void JsonListing::End() {
  CloseTo(0);
  out_ << (isFirst_ ? "]" : "\n]");
}

}  // namespace tools
