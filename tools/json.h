// SPDX-License-Identifier: MIT
// JSON, members in the order in which they were added.
#pragma once

#include <nlohmann/json.hpp>

#include "tools/listing.h"

namespace tools {

using Json = nlohmann::ordered_json;

// One line; letters that are not UTF-8 are replaced.
inline std::string JsonText(const Json& json, int indent = -1) {
  return json.dump(indent, ' ', false, Json::error_handler_t::replace);
}

// Numbers with all their digits; what JSON has no number for, NaN for instance, is a text.
Json JsonOf(const Number& number);
Json JsonOf(const Value& value);

}  // namespace tools
