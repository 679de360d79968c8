// SPDX-License-Identifier: MIT
#include "tools/element_types.h"

#include "tools/text_forms.h"

namespace tools {
namespace {

template <class T>
constexpr ElementKind NumericKind(ElementTypeKLP type, const char* name, const char* words,
                                  std::size_t perRow) {
  return {type, name, words, &NumberTextAt<T>, sizeof(T), perRow};
}

constexpr ElementKind kKinds[] = {
    NumericKind<std::uint8_t>(ElementByte, "Byte", "unsigned 8 bit", 16),
    NumericKind<std::int8_t>(ElementChar, "Char", "signed 8 bit", 16),
    NumericKind<std::uint16_t>(ElementWord, "Word", "unsigned 16 bit", 8),
    NumericKind<std::int16_t>(ElementShort, "Short", "signed 16 bit", 8),
    NumericKind<std::uint32_t>(ElementDWord, "DWord", "unsigned 32 bit", 4),
    NumericKind<std::int32_t>(ElementLong, "Long", "signed 32 bit", 4),
    NumericKind<float>(ElementFloat, "Float", "32-bit float", 4),
    NumericKind<double>(ElementDouble, "Double", "64-bit float", 2),
    {ElementVariant, "Variant", "VARIANT", nullptr, 0, 1},
};

}  // namespace

const ElementKind* FindElementKind(std::int32_t code) {
  for (const ElementKind& kind : kKinds) {
    if (kind.type == code) return &kind;
  }
  return nullptr;
}

}  // namespace tools
