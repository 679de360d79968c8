// SPDX-License-Identifier: MIT
#include "module/vector/variant_elements.h"

#include "module/frame/exceptions.h"
#include "module/records/tagged_records.h"

namespace rastel {

HRESULT CopyElement(const ElementArray<VARIANT>& array, LONG index, VARIANT* copy) noexcept {
  VARIANT image = array.At(index);
  *copy = VARIANT{};
  return VariantCopy(copy, &image);
}

void CopyElements(ElementArray<VARIANT>& target, const ElementArray<VARIANT>& source,
                  CopyDepth depth) {
  ElementChange(target).Resize(source.Count());
  for (LONG i = 0; i < target.Count() && i < source.Touched(); ++i) {
    const VARIANT image = source.At(i);
    CComVariant copy = depth == CopyDepth::kDeep ? GetRealCopyOfVariant(image) : CComVariant(image);
    static_cast<void>(target.Exchange(i, copy.Detach()));
  }
  target.CopyUntouched(source);
}

void GetVariantElement(const ElementArray<VARIANT>& array, LONG index, VARIANT* out) {
  VARIANT copy;
  const HRESULT result = CopyElement(array, index, &copy);
  VARIANT displaced = std::exchange(*out, copy);
  VariantClear(&displaced);
  CheckResult(result);
}

void PutVariantElement(ElementArray<VARIANT>& array, LONG index, const VARIANT& value) noexcept {
  VARIANT copy{};
  VariantCopy(&copy, const_cast<VARIANT*>(&value));
  if (!array.Has(index)) {
    VariantClear(&copy);
    return;
  }
  VARIANT displaced = array.Exchange(index, copy);
  if (SUCCEEDED(VariantClear(&displaced))) return;
  // Refused before anything was released.
  copy = array.Exchange(index, displaced);
  VariantClear(&copy);
}

void PutDoubleElement(ElementArray<VARIANT>& array, LONG index, double value) {
  VARIANT displaced = array.Exchange(index, DoubleVariant(value));
  const HRESULT result = VariantClear(&displaced);
  if (SUCCEEDED(result)) return;
  static_cast<void>(array.Exchange(index, displaced));
  AtlThrow(result);
}

double DoubleFromVariant(const VARIANT& value) {
  switch (value.vt) {
    case VT_BSTR:
    case VT_DISPATCH:
    case VT_UNKNOWN:
      throw TextException("Type conversion impossible");
    case VT_EMPTY:
      throw TextException("empty variant");
    case VT_R4:
      return value.fltVal;
    case VT_R8:
      return value.dblVal;
    default:
      return static_cast<double>(value.llVal);
  }
}

}  // namespace rastel
