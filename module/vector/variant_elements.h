// SPDX-License-Identifier: MIT
// What vectors do with the VARIANTs in their arrays: the elements of the Variant vector, and the
// tags of all of them.
//
// Copying and releasing a value may call foreign code that comes back and changes the array, so
// nothing here keeps an address or a count across such a call, and what a value displaces is
// released when the array holds the new one.
#pragma once

#include "module/vector/element_array.h"

namespace rastel {

// A copy with a count of its own, which the caller releases; VT_EMPTY on failure.
HRESULT CopyElement(const ElementArray<VARIANT>& array, LONG index, VARIANT* copy) noexcept;

// Whether objects in the values are shared with the copies, or duplicated through a stream.
enum class CopyDepth { kShared, kDeep };

// Gives the target, which nobody else can see, the count and copies of the values of the source.
// Raises what growing raises, CAtlException for a value that cannot be copied, and what the stream
// raises.
void CopyElements(ElementArray<VARIANT>& target, const ElementArray<VARIANT>& source,
                  CopyDepth depth);
inline void CopyElements(ElementBlock& target, const ElementBlock& source, CopyDepth) {
  target.CopyFrom(source);
}

// Clears out, whether or not that works, and hands it a copy of the element. A failed copy raises
// _com_error and leaves out empty.
void GetVariantElement(const ElementArray<VARIANT>& array, LONG index, VARIANT* out);

// Puts a copy into the element, or VT_EMPTY if it cannot be copied. An element that cannot be
// cleared stays as it is. Neither is told.
void PutVariantElement(ElementArray<VARIANT>& array, LONG index, const VARIANT& value) noexcept;

// Puts a VT_R8 into the element. Raises CAtlException for one that cannot be cleared.
void PutDoubleElement(ElementArray<VARIANT>& array, LONG index, double value);

// VT_R4 and VT_R8 as their value, VT_EMPTY raises "empty variant", strings and objects "Type
// conversion impossible"; of anything else the 8 bytes of the value field, as a signed integer.
double DoubleFromVariant(const VARIANT& value);

constexpr VARIANT DoubleVariant(double value) noexcept {
  VARIANT variant{};
  variant.vt = VT_R8;
  variant.dblVal = value;
  return variant;
}

}  // namespace rastel
