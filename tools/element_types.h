// SPDX-License-Identifier: MIT
// What the elements of AOIs and vectors are, as they lie in a stream.
#pragma once

#include <cstdint>
#include <string>

#include "interfaces/enums.h"

namespace tools {

struct ElementKind {
  ElementTypeKLP type;
  const char* name;
  // What it is in words: "unsigned 8 bit".
  const char* words;
  // Null for VARIANTs, which lie in records of their own.
  std::string (*text)(const std::uint8_t* element);
  std::size_t bytes;
  std::size_t perRow;
};

// Null for a code that is not used.
const ElementKind* FindElementKind(std::int32_t code);

}  // namespace tools
