// SPDX-License-Identifier: MIT
// The elements of a vector as VARIANTs, for callers who walk over them.
#pragma once

#include <type_traits>

#include "platform/platform.h"

namespace rastel {

struct VectorElements {
  // Through an interface that has the values as VARIANTs, or as numbers. E_OUTOFMEMORY, or what the
  // first element says that has no such value.
  template <class Interface>
  static HRESULT Copy(Interface& vector, SAFEARRAY** out) noexcept {
    LONG count = 0;
    vector.get_Count(&count);
    SAFEARRAY* const array = SafeArrayCreateVector(VT_VARIANT, 0, static_cast<ULONG>(count));
    void* data = nullptr;
    if (!array || FAILED(SafeArrayAccessData(array, &data))) return E_OUTOFMEMORY;
    HRESULT result = S_OK;
    for (LONG i = 0; i < count && SUCCEEDED(result); ++i) {
      result = GetValue(vector, i, static_cast<VARIANT*>(data)[i]);
    }
    SafeArrayUnaccessData(array);
    if (SUCCEEDED(result)) {
      *out = array;
    } else {
      SafeArrayDestroy(array);
    }
    return result;
  }

 private:
  template <class Interface>
  static HRESULT GetValue(Interface& vector, LONG index, VARIANT& value) noexcept {
    if constexpr (std::is_invocable_v<decltype(&Interface::get_Value), Interface&, LONG,
                                      VARIANT*>) {
      return vector.get_Value(index, &value);
    } else {
      const HRESULT result = vector.get_Value(index, &value.dblVal);
      if (SUCCEEDED(result)) value.vt = VT_R8;
      return result;
    }
  }
};

}  // namespace rastel
