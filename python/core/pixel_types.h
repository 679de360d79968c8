// SPDX-License-Identifier: MIT
// The types of pixels and of vector elements, and what Python calls them.
#pragma once

#include <pybind11/pybind11.h>

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "interfaces/enums.h"
#include "interfaces/identifiers.h"

namespace rastel_python {

namespace py = pybind11;

struct ElementType {
  ElementTypeKLP code;
  const char* name;   // of the dtype
  char format[2];     // of the buffer protocol and the struct module
  char kind;          // u, i or f
  std::size_t bytes;  // of an element
  const CLSID* aoi;   // null for VARIANT
  const CLSID* vector;
};

// The eight pixel types and VARIANT, in the order of their codes but for the gap.
inline constexpr ElementType kElementTypes[] = {
    {ElementByte, "uint8", "B", 'u', 1, &CLSID_ByteAOIKLP, &CLSID_ByteVectorKLP},
    {ElementChar, "int8", "b", 'i', 1, &CLSID_CharAOIKLP, &CLSID_CharVectorKLP},
    {ElementWord, "uint16", "H", 'u', 2, &CLSID_WordAOIKLP, &CLSID_WordVectorKLP},
    {ElementShort, "int16", "h", 'i', 2, &CLSID_ShortAOIKLP, &CLSID_ShortVectorKLP},
    {ElementDWord, "uint32", "I", 'u', 4, &CLSID_DWordAOIKLP, &CLSID_DWordVectorKLP},
    {ElementLong, "int32", "i", 'i', 4, &CLSID_LongAOIKLP, &CLSID_LongVectorKLP},
    {ElementFloat, "float32", "f", 'f', 4, &CLSID_FloatAOIKLP, &CLSID_FloatVectorKLP},
    {ElementDouble, "float64", "d", 'f', 8, &CLSID_DoubleAOIKLP, &CLSID_DoubleVectorKLP},
    {ElementVariant, "object", "O", 'O', sizeof(VARIANT), nullptr, &CLSID_VariantVectorKLP},
};

// The type of a code that an object has told; raises E_UNEXPECTED for any other.
const ElementType& TypeOf(ElementTypeKLP code);
// The type of what the buffer protocol tells, and whether its bytes stand in the other order.
// Raises TypeError for any other.
const ElementType& TypeOf(std::string_view format, std::size_t bytes, bool& isForeign);
// The type that a dtype argument names: "uint8", "u1", "<u2", numpy.uint8, numpy.dtype("f4"),
// float. Raises TypeError for any other, also for another order of bytes.
const ElementType& TypeOf(py::handle dtype);

// Calls with a value of the C++ type; not for VARIANT.
template <class Call>
decltype(auto) WithType(const ElementType& type, Call&& call) {
  switch (type.code) {
    case ElementByte:
      return call(std::uint8_t{});
    case ElementChar:
      return call(std::int8_t{});
    case ElementWord:
      return call(std::uint16_t{});
    case ElementShort:
      return call(std::int16_t{});
    case ElementDWord:
      return call(std::uint32_t{});
    case ElementLong:
      return call(std::int32_t{});
    case ElementFloat:
      return call(float{});
    default:
      return call(double{});
  }
}

// The element as an int or a float.
py::object ReadElement(const ElementType& type, const void* at);

}  // namespace rastel_python
